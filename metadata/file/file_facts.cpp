#include "file_facts.h"


#include <sys/stat.h>

namespace {

double seconds_since_1970(const struct statx_timestamp &time)
{
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

} // namespace

FileFacts file_facts_from(const struct statx &status)
{
    // Many file systems keep no creation time, and a few leave out more.
    const auto reported = [&status](unsigned int mask) { return (status.stx_mask & mask) != 0; };
    FileFacts facts;
    facts.is_regular_file = reported(STATX_TYPE) && S_ISREG(status.stx_mode);
    facts.is_directory = reported(STATX_TYPE) && S_ISDIR(status.stx_mode);
    if (reported(STATX_SIZE))
        facts.size = status.stx_size;
    if (reported(STATX_TYPE) && reported(STATX_MODE))
        facts.mode = status.stx_mode;
    if (reported(STATX_BLOCKS))
        facts.allocated_blocks = status.stx_blocks;
    if (reported(STATX_BTIME))
        facts.birth_time = seconds_since_1970(status.stx_btime);
    if (reported(STATX_MTIME))
        facts.modification_time = seconds_since_1970(status.stx_mtime);
    if (reported(STATX_UID))
        facts.owner_user_id = status.stx_uid;
    if (reported(STATX_GID))
        facts.owner_group_id = status.stx_gid;
    return facts;
}
