// File-name extensions, and removing the remains of a failed save.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string_view>

#include "trellis/bytes.h"

namespace {

// Only the owner's and the group's write bits count; the bit for others does not.
bool user_may_write(const struct stat& status) {
    const bool as_owner = getuid() == status.st_uid && (status.st_mode & S_IWUSR) != 0;
    const bool as_group = getgid() == status.st_gid && (status.st_mode & S_IWGRP) != 0;
    return as_owner || as_group;
}

}  // namespace

int check_ext_trellis(const char* name, const char* extension) {
    return std::string_view(name).ends_with(extension) ? 1 : 0;
}

int inq_this_type_pic_trellis(const pic_format* format, const char* name, unsigned int* match) {
    for (const char* extension : {format->ext_copy, format->ext2_copy, format->ext3_copy}) {
        *match = static_cast<unsigned int>(check_ext_trellis(name, extension));
        if (*match == 1) {
            break;
        }
    }
    return 0;
}

void delete_if_writeable_trellis(const char* name) {
    struct stat status {};
    if (stat(name, &status) != 0) {
        std::printf("Stat on file %s failed\n", name);
    } else if (!user_may_write(status)) {
        std::printf("Save failed file %s not writable by user\n", name);
    } else if (unlink(name) == 0) {
        std::printf("Save failed deleted %s\n", name);
    } else {
        std::printf("Save failed, delete %s failed\n", name);
    }
}
