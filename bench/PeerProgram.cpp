#include "bench/PeerProgram.h"

#include <iostream>
#include <mutex>
#include <sstream>

namespace bench::peerProgram {

void say(const std::string& line) {
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    std::cout << line << std::endl;
}

void serve(const std::function<std::string(std::istream& words)>& handle) {
    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string number;
        words >> number;
        const std::string failure = handle(words);
        say("answer " + number + (failure.empty() ? " ok" : " failed " + failure));
    }
}

}  // namespace bench::peerProgram
