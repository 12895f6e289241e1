#pragma once

#include <array>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// A complete, working configuration of the server: the file that its command line names, and the
/// three files that this one names. Tests change, omit or break single entries before it is
/// written. One thread.
class ExampleConfiguration {
public:
    struct Settings {
        unsigned domain = 0;
        std::string transport = "SHM";  ///< "SHM", "UDP", "TCP_Client" or "TCP_Server"
        std::string address = "127.0.0.1";
        unsigned port = 5100;
        int historyDepth = 20;
        bool bestEffort = false;
        bool backFill = false;
        bool debug = false;
        unsigned priority = 0;   ///< real-time priority, 0 for none
        unsigned processor = 0;  ///< processor to bind to, 0 for none
        int baud = 115200;
        int parity = 0;                             ///< 0 none, 1 odd, 2 even
        std::array<unsigned, 3> channels{1, 2, 3};  ///< ttyS numbers of links 1, 2 and 3
        unsigned serverConfigurations = 2;          ///< entries of "Server_Configuration"
    };

    enum class File { TopLevel, Connections, IoDevices, StoredSettings };

    ExampleConfiguration();
    explicit ExampleConfiguration(const Settings& settings);

    /// Gives a key another text. Raises std::out_of_range when the container has no such key.
    /// A container is named by its "Name", or by its element's name, which then means all of them.
    void set(const std::string& container, const std::string& key, const std::string& value);

    /// Leaves a key out. Raises std::out_of_range when there is no such key.
    void omit(const std::string& container, const std::string& key);

    /// Leaves a container out. Raises std::out_of_range when there is none.
    void omitContainer(const std::string& container);

    /// Writes this text in place of the whole file.
    void replace(File file, const std::string& text);

    /// Does not write the file at all.
    void omit(File file);

    /// Writes the files into `folder`, which must exist, and returns the path of the top-level
    /// one. Raises std::system_error.
    std::filesystem::path write(const std::filesystem::path& folder) const;

    static std::string fileName(File file);

private:
    struct Container {
        std::string tag;
        std::string name;
        std::vector<std::pair<std::string, std::string>> parameters;

        bool isNamed(const std::string& text) const { return name == text || tag == text; }
    };

    template <class Change>
    void forEachKey(const std::string& container, const std::string& key, Change change);
    static std::string fileText(const std::vector<Container>& containers,
                                const std::filesystem::path& folder);

    std::map<File, std::vector<Container>> files_;
    std::map<File, std::string> replaced_;
};

}  // namespace bench
