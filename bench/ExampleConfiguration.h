#pragma once

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "bench/FpgaModel.h"

namespace tinyxml2 {
class XMLDocument;
}  // namespace tinyxml2

namespace bench {

/// The example configuration that is shipped with the server, fitted to the bench: the file that
/// the server's command line names, and the four files that this one names. Tests change, omit or
/// break single entries before it is written. One thread; can be moved, not copied.
class ExampleConfiguration {
public:
    /// What differs from the shipped files.
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
    };

    enum class File { TopLevel, Connections, IoDevices, StoredSettings, Versions };

    static constexpr std::array<File, 5> allFiles{
        File::TopLevel, File::Connections, File::IoDevices, File::StoredSettings, File::Versions};

    ExampleConfiguration();

    /// Loads the five files of `source`. Raises std::runtime_error when one cannot be read, and
    /// std::out_of_range when one lacks what the settings change.
    explicit ExampleConfiguration(const Settings& settings,
                                  const std::filesystem::path& source = installedFolder());
    ~ExampleConfiguration();
    ExampleConfiguration(ExampleConfiguration&& other) noexcept;
    ExampleConfiguration& operator=(ExampleConfiguration&& other) noexcept;

    /// Where the shipped files stand, seen from the running program: the same place in the build
    /// folder and where the project is installed.
    static std::filesystem::path installedFolder();

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

    /// The regions of physical memory that the files name, as they stand now. Raises
    /// std::out_of_range when one lacks its address or size.
    std::map<std::string, MemoryRegion> memoryRegions() const;

    /// The queue devices that the files name, as they stand now: the number behind "mcs" of each.
    /// Raises std::out_of_range when one lacks it.
    std::map<std::string, unsigned> queuePorts() const;

    /// Writes the files into `folder`, which must exist, and returns the path of the top-level
    /// one. Comments stay; relative names of files become paths in `folder`. Raises
    /// std::system_error.
    std::filesystem::path write(const std::filesystem::path& folder) const;

    static std::string fileName(File file);

private:
    std::string textOf(File file, const std::filesystem::path& folder) const;

    std::map<File, std::unique_ptr<tinyxml2::XMLDocument>> files_;
    std::map<File, std::string> replaced_;
};

}  // namespace bench
