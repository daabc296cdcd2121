#include "formats/iff/queries.h"

#include <cstddef>
#include <cstring>

#include "trellis/pic_format.h"

#include "formats/iff/chunks.h"
#include "formats/iff/header.h"
#include "frame/error.h"
#include "frame/file.h"

namespace trellis::iff {

namespace {

// The start of every file: a form and its type.
struct file_start {
    iff_chunk_header form;
    be32 type;
};

static_assert(sizeof(file_start) == 12);

unsigned int kind_of(const maya_header& header) {
    if (header.has_colour()) {
        return header.has_alpha() ? TRELLIS_KIND_CUTOUT : TRELLIS_KIND_IMAGE;
    }
    return header.has_alpha() ? TRELLIS_KIND_MASK : TRELLIS_KIND_OTHER;
}

// Hands the header to `answer` as soon as it is read: a close that fails after that is reported,
// but keeps no answer back.
template <class Answer>
Error ask_header(const char* name, Answer answer) {
    InputFile file;
    TRELLIS_TRY(file.open(name));
    maya_header header{};
    const Error result = read_maya_header(file, header);
    if (!failed(result)) {
        answer(header);
    }
    const Error closed = file.close();
    return failed(closed) ? closed : result;
}

// The header among the top level's chunks, up to its flags: all that a probe looks at. Unlike a
// reader, it looks into no form.
Error find_header(InputFile& file, maya_header& header) {
    if (failed(file.seek(sizeof(file_start)))) {
        return Error::read;
    }
    Chunk chunk{};
    TRELLIS_TRY(find_chunk(file, Forms::closed, header_tag, chunk));
    return peek(file, &header, offsetof(maya_header, reserved_16));
}

}  // namespace

int inq_maya_type_fn(void* bytes, int length, const char* name, std::int64_t /*reserved*/,
                     unsigned int* kind, unsigned int* is_this_format) {
    file_start start{};
    if (length < static_cast<int>(sizeof start)) {
        return code(Error::short_header);
    }
    std::memcpy(&start, bytes, sizeof start);
    if (start.form.tag != form_tag || start.type != picture_tag) {
        *is_this_format = 0;
        return code(Error::none);
    }
    InputFile file;
    if (failed(file.open(name))) {
        return code(Error::none);
    }
    // What cannot be read, or holds no channels, is simply not a Maya file.
    maya_header header{};
    const bool readable = !failed(find_header(file, header)) && header.channels() > 0;
    *is_this_format = readable ? 1 : 0;
    if (readable) {
        *kind = kind_of(header);
    }
    return code(Error::none);
}

int info_maya(const char* name, unsigned int* compression, unsigned int* flag_a,
              unsigned int* flag_b, unsigned int* image_offset, unsigned int* kind,
              unsigned int* channels, unsigned int* deep, unsigned int* zero_1,
              unsigned int* zero_2, unsigned int* width, unsigned int* height,
              unsigned int* zero_3) {
    *zero_3 = 0;
    return code(ask_header(name, [&](const maya_header& header) {
        *compression = header.compression;
        *flag_a = *flag_b = *image_offset = *deep = *zero_1 = *zero_2 = 0;
        *kind = kind_of(header);
        *channels = header.channels();
        *width = static_cast<unsigned int>(header.width);
        *height = static_cast<unsigned int>(header.height);
    }));
}

int size_maya(const char* name, unsigned int* width, unsigned int* height) {
    return code(ask_header(name, [&](const maya_header& header) {
        *width = static_cast<unsigned int>(header.width);
        *height = static_cast<unsigned int>(header.height);
    }));
}

}  // namespace trellis::iff
