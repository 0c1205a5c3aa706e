#ifndef LIBYAL_HANDLE_H
#define LIBYAL_HANDLE_H

#include <utility>

// Owns one handle of a libyal library (libfsapfs, libfshfs, libewf,
// libbfio) and frees it with the library's own function when it goes;
// an error the free reports is freed as well, and otherwise ignored.
template <typename Handle, typename Error, auto Free, auto FreeError>
class LibyalHandle
{
public:
    LibyalHandle() = default;
    LibyalHandle(LibyalHandle &&other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    LibyalHandle &operator=(LibyalHandle &&other) noexcept
    {
        if (this != &other) {
            reset();
            handle_ = std::exchange(other.handle_, nullptr);
        }
        return *this;
    }
    LibyalHandle(const LibyalHandle &) = delete;
    LibyalHandle &operator=(const LibyalHandle &) = delete;
    ~LibyalHandle() { reset(); }

    Handle *get() const { return handle_; }
    explicit operator bool() const { return handle_ != nullptr; }
    // The place a library call writes a new handle to; the one held is freed first.
    Handle **out()
    {
        reset();
        return &handle_;
    }
    // Hands the handle over to the caller (a pool that frees it itself).
    Handle *release() { return std::exchange(handle_, nullptr); }
    void reset()
    {
        if (!handle_)
            return;
        Error *error = nullptr;
        Free(&handle_, &error);
        if (error)
            FreeError(&error);
        handle_ = nullptr;
    }

private:
    Handle *handle_ = nullptr;
};

// Receives the error a libyal call reports, and frees it when it goes: the
// reader answers "not found" whatever the cause, so the error's text is
// never needed.
template <typename Error, auto FreeError>
class LibyalError
{
public:
    LibyalError() = default;
    LibyalError(const LibyalError &) = delete;
    LibyalError &operator=(const LibyalError &) = delete;
    ~LibyalError() { clear(); }

    // The place a library call writes its error to, emptied first.
    Error **out()
    {
        clear();
        return &error_;
    }

private:
    void clear()
    {
        if (error_)
            FreeError(&error_);
        error_ = nullptr;
    }

    Error *error_ = nullptr;
};

#endif // LIBYAL_HANDLE_H
