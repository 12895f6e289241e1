// The other end of a TransportKindsTest: gives back on "Back" what comes on "Pnt", until its
// standard input ends. Usage: transport-echo <configuration file>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include "aspn2_msgs/MeridanePNT.h"
#include "tests/face/TypedTransport.h"

int main(int count, char** arguments) {
    using aspn2_msgs::idl::MeridanePNT;
    if (count != 2) {
        return EXIT_FAILURE;
    }
    auto const tss = std::make_shared<FACE::TSS::MX_TSS>("Echo");
    Code::Value rc = Code::TIMED_OUT;
    tss->Set_Reference("", std::make_shared<FACE::MX_Config>(), 0, rc);
    tss->Initialize(arguments[1], rc);
    long long in = -1;
    long long out = -1;
    int unused = 0;
    tss->Create_Connection("Pnt", 0, in, unused, rc);
    tss->Create_Connection("Back", 0, out, unused, rc);
    Typed<MeridanePNT> typed(tss);
    bool const ready =
        typed.registerSender(out) == Code::NO_ERROR &&
        typed.registerCallback(
            in, [&](long long, long long, MeridanePNT const& record, FACE::TSS::HEADER_TYPE const&,
                    FACE::Sequence<FACE::TSS::QoS_Element> const&,
                    Code::Value&) { typed.send(out, record); }) == Code::NO_ERROR;
    if (!ready || !bench::holdsInTime([&] {
            return tss->connectionMap_mutex_at(0).subscriberListener()->matched() == 1 &&
                   tss->connectionMap_mutex_at(1).publisherListener()->matched() == 1;
        })) {
        std::cout << "failed" << std::endl;
        return EXIT_FAILURE;
    }
    std::cout << "matched" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
    }
    tss->Unregister_Callback(in, rc);
    return EXIT_SUCCESS;
}
