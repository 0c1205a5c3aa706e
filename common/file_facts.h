#ifndef FILE_FACTS_H
#define FILE_FACTS_H

#include <cstdint>
#include <optional>

// What the volume records of one object: the object itself, a
// symbolic link included, never the file it points to. A fact the file
// system does not report is left out.
struct FileFacts
{
    std::optional<std::uint64_t> number; // the object's own number on its volume (inode, file ID)
    bool is_regular_file = false;
    bool is_directory = false;
    std::optional<std::uint64_t> size;
    std::optional<std::uint32_t> mode;             // type and permission bits
    std::optional<std::uint64_t> allocated_blocks; // of 512 bytes
    std::optional<double> birth_time;        // seconds since 1970
    std::optional<double> modification_time; // seconds since 1970
    // When the object was put in its folder, where the volume records it
    // beside the object (APFS's inode, HFS+'s catalog record) rather than
    // in a Finder information attribute; seconds since 1970.
    std::optional<double> added_time;
    std::optional<std::uint32_t> owner_user_id;
    std::optional<std::uint32_t> owner_group_id;
};

#endif // FILE_FACTS_H
