#ifndef UNIQUE_FD_H
#define UNIQUE_FD_H

#include <unistd.h>

#include <utility>

// Owns one open file descriptor and closes it when it goes.
class UniqueFd
{
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd &operator=(UniqueFd &&other) noexcept
    {
        if (this != &other)
            reset(std::exchange(other.fd_, -1));
        return *this;
    }
    UniqueFd(const UniqueFd &) = delete;
    UniqueFd &operator=(const UniqueFd &) = delete;
    ~UniqueFd() { reset(); }

    // The descriptor, still owned; -1 when there is none.
    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    explicit operator bool() const { return valid(); }
    // Hands the descriptor over to the caller.
    int release() { return std::exchange(fd_, -1); }
    // Closes the descriptor held, then holds fd.
    void reset(int fd = -1)
    {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

#endif // UNIQUE_FD_H
