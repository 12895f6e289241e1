#pragma once

#include <map>
#include <memory>
#include <string>

#include "face/Configuration.h"
#include "face/FileCalls.h"
#include "platform/Mutex.h"

namespace tinyxml2 {
class XMLDocument;
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): the library's own
class XMLElement;
}  // namespace tinyxml2

namespace FACE {

/// The settings of one XML file, held in memory from `Initialize` to the object's end; a changed
/// parameter goes straight back to the same file, by way of a sibling (the file's name with ".new"
/// behind it), so that a loss of power leaves the old or the new settings; see DurableFile.
///
///     <MX_Configurations>
///         <Tag>
///             <Name>a container, opened by this name or by its tag</Name>
///             <Parameters><Key>value</Key> ... </Parameters>
///         </Tag> ...
///     </MX_Configurations>
///
/// Containers without a name, or with an empty one, are passed over.
///
/// Used by one thread at a time, the server's control path: the mutex only keeps two loads or
/// saves apart. A handle is shared by all who open containers of one tag, so users open, read
/// and close in one go and keep none. A name that is an invalid String raises std::logic_error.
class MX_Config : public Configuration {
public:
    /// `calls` reach the file and outlive the object.
    explicit MX_Config(FileCalls& calls = FileCalls::Real());
    ~MX_Config() override;
    MX_Config(MX_Config const&) = delete;
    MX_Config& operator=(MX_Config const&) = delete;

    /// Loads `file_name`. INVALID_CONFIG when it is missing, malformed, above 64 MiB or has no
    /// "MX_Configurations"; it may then be tried again. But when a whole sibling stands beside it,
    /// that is taken and put in the file's place, and a line on standard output says so. Once it
    /// was a success every further call gives NO_ERROR and does nothing.
    void Initialize(String const& file_name, RETURN_CODE_TYPE::Value& rc) override;

    /// INVALID_MODE before `Initialize`, INVALID_CONFIG for an unknown container. There is one
    /// handle for each tag: opening another container of an open tag moves that handle.
    void Open(String const& container_name, int& handle, RETURN_CODE_TYPE::Value& rc) override;

    /// INVALID_CONFIG for an unknown handle and for a missing or empty value.
    void Get_Size(int handle, String const& parameter, int& size,
                  RETURN_CODE_TYPE::Value& rc) override;

    /// Zeroes the buffer and copies what fits of the value. INVALID_CONFIG for an unknown handle,
    /// INVALID_PARAM for a missing or empty value, a null buffer or a negative size.
    void Read(int handle, String const& parameter, void* buffer, int buffer_size, int& bytes_read,
              RETURN_CODE_TYPE::Value& rc) override;

    /// Replaces a value that is there and not empty, and saves the file; blocks until it is on
    /// the medium. INVALID_CONFIG for an unknown handle; INVALID_PARAM for a missing or empty
    /// value, a null buffer, a negative size or a text with a zero byte in it, which XML cannot
    /// hold; NO_ACTION when the file cannot be saved (its folder must be writable too), with the
    /// value in memory changed already.
    void Write(int handle, String const& parameter, void* buffer, int buffer_size,
               int& bytes_written, RETURN_CODE_TYPE::Value& rc) override;

    /// Steps over the containers of the handle's tag: SEEK_SET from the first, SEEK_CUR from the
    /// present one, SEEK_END from the last, where a positive offset goes towards the front.
    /// INVALID_PARAM when there are not so many, and the handle keeps its place.
    void Seek(int handle, WHENCE_TYPE::Value whence, int offset,
              RETURN_CODE_TYPE::Value& rc) override;

    void Close(int handle, RETURN_CODE_TYPE::Value& rc) override;

private:
    struct config_set {
        tinyxml2::XMLElement* element;  // in the document
        std::string tag;
        std::string name;
    };

    config_set* find(int handle);
    bool save() REQUIRES(mutex_);

    FileCalls& calls_;
    std::string fileName_;
    std::string schemaLocation_;
    platform::Mutex mutex_;  // one load or save at a time; a leaf
    std::unique_ptr<tinyxml2::XMLDocument> document_;
    std::map<int, std::unique_ptr<config_set>> handles_;
    bool initialized_ = false;
};

}  // namespace FACE
