#pragma once

/// One open file of a queue device. It is opened blocking and made non-blocking afterwards, so
/// that neither end can hold up its thread: a queue that is full takes nothing, and a record that
/// another process took first leaves nothing to read. Descriptors are closed on exec.
///
/// No locks: opening and closing are the owner's; one read and one write of different ports may
/// run at once.
class mcsQport {
public:
    mcsQport() = default;
    /// Closes the descriptor if it is open.
    virtual ~mcsQport();
    mcsQport(mcsQport const&) = delete;
    mcsQport& operator=(mcsQport const&) = delete;

    /// Opens the end that the derived class is for; gives the descriptor, -1 on failure.
    virtual int openPort() = 0;

    /// The text stays the caller's and must outlive this object.
    void set_filename(char const* name);
    /// Empty when none was set.
    char const* get_filename() const;
    bool hasSetFilename() const { return hasFilename_; }
    bool is_file_open() const { return isOpen_; }
    int getFileDescriptor() const { return descriptor_; }

    /// Tries the file for writing, whichever end this is: 1 (true) when it could be opened, 0 with
    /// a line on standard error when not, -1 without a name. A named pipe that nobody reads makes
    /// it wait.
    int can_open_file() const;

    /// Open one end, closing what was open before. Give the descriptor, or -1: without a name, or
    /// with a line on standard error when it does not open.
    int openPortForWrite();
    int openPortForRead();

    void doDebug(int level) { debugLevel_ = level; }

private:
    int open(int access, char const* end);
    void close();

    char const* filename_ = nullptr;
    bool isOpen_ = false;
    int descriptor_ = -1;
    bool hasFilename_ = false;
    int debugLevel_ = 0;
};

/// The end that takes records out of the queue.
class mcsReaderPort : public mcsQport {
public:
    int openPort() override { return openPortForRead(); }

    /// One `read` of at most `length` bytes: their number, -1 when there are none or the device
    /// fails; 0 at the end of the file or when the port is not open.
    long readFromPort(void* buffer, int length) const;
};

/// The end that puts records into the queue.
class mcsWriterPort : public mcsQport {
public:
    int openPort() override { return openPortForWrite(); }

    /// One `write`: the number of bytes taken, -1 when the queue takes none; 0 when the port is not
    /// open. A pipe takes up to 4096 bytes whole or not at all.
    long writeToPort(void const* bytes, int length) const;
};
