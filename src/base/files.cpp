#include "base/files.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/uuid.h"

namespace brellow {

namespace fs = std::filesystem;

namespace {

// Closes a descriptor when it goes out of scope.
class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }

  private:
    int fd_;
};

Result<void, IoError> writeAll(int fd, std::string_view bytes, const fs::path& path) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            return fail(IoError::fromErrno("write", path, errno));
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return {};
}

Result<void, IoError> copyContents(int from, int to, const fs::path& destination) {
    for (;;) {
        const ssize_t copied = ::copy_file_range(from, nullptr, to, nullptr, 1 << 30, 0);
        if (copied == 0) return {};
        if (copied > 0) continue;
        if (errno == EINTR) continue;
        if (errno != EXDEV && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) {
            return fail(IoError::fromErrno("copy", destination, errno));
        }
        break;  // not supported here: plain read and write
    }
    char buffer[1 << 16];
    for (;;) {
        const ssize_t got = ::read(from, buffer, sizeof buffer);
        if (got == 0) return {};
        if (got < 0) {
            if (errno == EINTR) continue;
            return fail(IoError::fromErrno("read", destination, errno));
        }
        auto written =
            writeAll(to, std::string_view(buffer, static_cast<std::size_t>(got)), destination);
        if (!written) return written;
    }
}

}  // namespace

IoError IoError::fromErrno(std::string_view operation, const fs::path& path, int errorNumber) {
    return IoError{errorNumber, std::string(operation) + " " + path.string() + ": " +
                                    std::strerror(errorNumber)};  // NOLINT(concurrency-mt-unsafe)
}

Result<std::string, IoError> readRegularFile(const fs::path& path, std::size_t maxBytes) {
    // Non-blocking, so that a FIFO put in the file's place is refused at once, not waited on.
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!fd.valid()) return fail(IoError::fromErrno("open", path, errno));
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0) return fail(IoError::fromErrno("stat", path, errno));
    if (!S_ISREG(info.st_mode)) return fail(IoError::fromErrno("open", path, EINVAL));
    if (static_cast<std::size_t>(info.st_size) > maxBytes) {
        return fail(IoError::fromErrno("read", path, EFBIG));
    }
    std::string bytes;
    bytes.resize(static_cast<std::size_t>(info.st_size));
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t got = ::read(fd.get(), bytes.data() + filled, bytes.size() - filled);
        if (got == 0) break;
        if (got < 0) {
            if (errno == EINTR) continue;
            return fail(IoError::fromErrno("read", path, errno));
        }
        filled += static_cast<std::size_t>(got);
    }
    bytes.resize(filled);
    return bytes;
}

Result<void, IoError> writeNewFileSynced(const fs::path& path, std::string_view bytes) {
    FileDescriptor fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!fd.valid()) return fail(IoError::fromErrno("create", path, errno));
    auto written = writeAll(fd.get(), bytes, path);
    if (!written) return written;
    if (::fsync(fd.get()) != 0) return fail(IoError::fromErrno("fsync", path, errno));
    return {};
}

Result<void, IoError> replaceFileAtomically(const fs::path& path, std::string_view bytes) {
    const fs::path temporary =
        path.parent_path() / ("." + path.filename().string() + "." + Uuid::generate().toString());
    auto written = writeNewFileSynced(temporary, bytes);
    if (!written) {
        ::unlink(temporary.c_str());
        return written;
    }
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        return fail(IoError::fromErrno("rename", path, error));
    }
    return syncDirectory(path.parent_path().empty() ? fs::path(".") : path.parent_path());
}

Result<CloneMethod, IoError> cloneFile(const fs::path& source, const fs::path& destination) {
    if (::unlink(destination.c_str()) != 0 && errno != ENOENT) {
        return fail(IoError::fromErrno("unlink", destination, errno));
    }
    if (::link(source.c_str(), destination.c_str()) == 0) return CloneMethod::hardLink;

    FileDescriptor from(::open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!from.valid()) return fail(IoError::fromErrno("open", source, errno));
    FileDescriptor to(::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!to.valid()) return fail(IoError::fromErrno("create", destination, errno));
    if (::ioctl(to.get(), FICLONE, from.get()) == 0) return CloneMethod::reflink;
    auto copied = copyContents(from.get(), to.get(), destination);
    if (!copied) {
        ::unlink(destination.c_str());
        return fail(copied.error());
    }
    return CloneMethod::copy;
}

Result<void, IoError> syncDirectory(const fs::path& path) {
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd.valid()) return fail(IoError::fromErrno("open", path, errno));
    if (::fsync(fd.get()) != 0) return fail(IoError::fromErrno("fsync", path, errno));
    return {};
}

Result<void, IoError> syncFile(const fs::path& path) {
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!fd.valid()) return fail(IoError::fromErrno("open", path, errno));
    if (::fsync(fd.get()) != 0) return fail(IoError::fromErrno("fsync", path, errno));
    return {};
}

Result<std::uint64_t, IoError> regularFileSize(const fs::path& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return fail(IoError::fromErrno("stat", path, errno));
    if (!S_ISREG(info.st_mode)) return fail(IoError::fromErrno("stat", path, EINVAL));
    return static_cast<std::uint64_t>(info.st_size);
}

void removeTreeQuietly(const fs::path& path) noexcept {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

bool isRegularFileNoFollow(const fs::path& path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() == fs::file_type::regular;
}

}  // namespace brellow
