#ifndef BINARY_PROPERTY_LIST_LAYOUT_H
#define BINARY_PROPERTY_LIST_LAYOUT_H

#include <QByteArrayView>

#include <cstdint>
#include <optional>

// How a binary property list ("bplist00") lays out its objects: a trailer
// naming the root and an offset table, each object a marker byte (its kind
// in the high four bits, a count in the low four) and its content. Every
// position taken from the list is checked against the objects, which lie
// between the header and the offset table, before anything is read there.
// The one reader of the format's structure: the measure taken before the
// parser runs and the reading of values both walk a list through it.
class BinaryPropertyListLayout
{
public:
    // Object kinds, the high four bits of a marker.
    enum Kind : unsigned {
        simple_kind = 0x0, // booleans among them
        integer_kind = 0x1,
        real_kind = 0x2,
        date_kind = 0x3,
        data_kind = 0x4,
        ascii_string_kind = 0x5,
        utf16_string_kind = 0x6,
        array_kind = 0xA,
        set_kind = 0xC,
        dictionary_kind = 0xD,
    };

    // An object's count (of bytes, characters or references) and where its
    // content starts.
    struct Sized
    {
        std::uint64_t count = 0;
        const unsigned char *content = nullptr;
    };

    // The layout of bytes; nullopt when they hold no list whose trailer and
    // offset table fit.
    static std::optional<BinaryPropertyListLayout> of(QByteArrayView bytes);

    std::uint64_t root() const { return root_; }
    std::uint64_t object_count() const { return object_count_; }
    std::uint64_t reference_size() const { return reference_size_; }

    // Where object number starts, or nullptr when it lies outside the objects.
    const unsigned char *object(std::uint64_t number) const;
    // The count of the object at, from its marker or from the integer
    // object after it, and where its content starts; nullopt when that does
    // not fit in the objects.
    std::optional<Sized> sized(const unsigned char *at) const;
    // Whether count units of unit_size bytes from at lie within the objects.
    bool holds(const unsigned char *at, std::uint64_t count, std::uint64_t unit_size) const;
    // The object number that the index'th reference from references names.
    std::uint64_t reference(const unsigned char *references, std::uint64_t index) const
    {
        return integer(references + index * reference_size_, reference_size_);
    }

    // The big-endian unsigned integer of width (1 to 8) bytes at at.
    static std::uint64_t integer(const unsigned char *at, std::uint64_t width);

private:
    BinaryPropertyListLayout() = default;

    const unsigned char *data_ = nullptr;
    const unsigned char *offset_table_ = nullptr; // where the objects end
    std::uint64_t offset_size_ = 0;
    std::uint64_t reference_size_ = 0;
    std::uint64_t object_count_ = 0;
    std::uint64_t root_ = 0;
};

#endif // BINARY_PROPERTY_LIST_LAYOUT_H
