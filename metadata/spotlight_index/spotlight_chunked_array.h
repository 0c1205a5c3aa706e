#ifndef SPOTLIGHT_CHUNKED_ARRAY_H
#define SPOTLIGHT_CHUNKED_ARRAY_H

#include <cstddef>
#include <memory>
#include <vector>

// An array that grows by fixed chunks: growing never copies what it holds,
// so ten million items never need room for twice as many.
template<typename T>
class SpotlightChunkedArray
{
public:
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

    // Adds value at the end.
    void push_back(const T &value)
    {
        if (size_ == chunks_.size() * chunk_size)
            chunks_.push_back(std::make_unique<T[]>(chunk_size));
        (*this)[size_++] = value;
    }
    T &operator[](size_t i) { return chunks_[i / chunk_size][i % chunk_size]; }
    const T &operator[](size_t i) const { return chunks_[i / chunk_size][i % chunk_size]; }
    // Gives back all memory.
    void clear()
    {
        chunks_.clear();
        chunks_.shrink_to_fit();
        size_ = 0;
    }

private:
    static constexpr size_t chunk_size = size_t(1) << 16;
    std::vector<std::unique_ptr<T[]>> chunks_;
    size_t size_ = 0;
};

#endif // SPOTLIGHT_CHUNKED_ARRAY_H
