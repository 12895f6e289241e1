#include "ioss_mcsq/mcsQport.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr char const* outputEnd = "output";
constexpr char const* inputEnd = "input";

void complain(char const* end, char const* filename) {
    std::fprintf(stderr, "Unable to open %s pipe file: %s\n", end, filename);
}

std::size_t atLeastNothing(int length) {
    return static_cast<std::size_t>(std::max(length, 0));
}

}  // namespace

mcsQport::~mcsQport() {
    close();
}

void mcsQport::set_filename(char const* name) {
    filename_ = name;
    hasFilename_ = true;
}

char const* mcsQport::get_filename() const {
    return filename_ != nullptr ? filename_ : "";
}

int mcsQport::can_open_file() const {
    if (!hasFilename_) {
        return -1;
    }
    int const trial = ::open(get_filename(), O_WRONLY | O_CLOEXEC);
    if (trial < 0) {
        complain(outputEnd, get_filename());
        return 0;
    }
    ::close(trial);
    return 1;
}

int mcsQport::openPortForWrite() {
    return open(O_WRONLY, outputEnd);
}

int mcsQport::openPortForRead() {
    return open(O_RDONLY, inputEnd);
}

int mcsQport::open(int access, char const* end) {
    if (!hasFilename_) {
        return -1;
    }
    close();
    descriptor_ = ::open(get_filename(), access | O_CLOEXEC);
    if (descriptor_ < 0) {
        complain(end, get_filename());
        return -1;
    }
    isOpen_ = true;
    if (::fcntl(descriptor_, F_SETFL, O_NONBLOCK) != 0) {
        complain(end, get_filename());
        close();
    }
    return descriptor_;
}

void mcsQport::close() {
    if (isOpen_) {
        ::close(descriptor_);
        descriptor_ = -1;
        isOpen_ = false;
    }
}

long mcsReaderPort::readFromPort(void* buffer, int length) const {
    return is_file_open() ? ::read(getFileDescriptor(), buffer, atLeastNothing(length)) : 0;
}

long mcsWriterPort::writeToPort(void const* bytes, int length) const {
    return is_file_open() ? ::write(getFileDescriptor(), bytes, atLeastNothing(length)) : 0;
}
