// The compiled half of the Python package: pictures, and the calls that make and save them. Names
// of files come as bytes. What people see, and what says a wrong argument is wrong, is in
// trellis/__init__.py.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include "trellis/errors.h"
#include "trellis/host.hpp"
#include "trellis/sequence.hpp"

namespace py = pybind11;
namespace host = trellis::host;

namespace {

/// Texts of files need not be UTF-8; what is not is kept as Python keeps it in names of files.
py::str text(const std::string& bytes) {
    PyObject* const decoded = PyUnicode_DecodeUTF8(
        bytes.data(), static_cast<py::ssize_t>(bytes.size()), "surrogateescape");
    if (decoded == nullptr) {
        throw py::error_already_set();
    }
    return py::reinterpret_steal<py::str>(decoded);
}

py::object text_or_none(const std::string& bytes) {
    return bytes.empty() ? py::object(py::none()) : text(bytes);
}

void raise(const host::Error& error) {
    const py::object type = py::module_::import("trellis").attr("Error");
    const py::object raised =
        type(error.code(), text(error.message()), text(error.reason()), text(error.file()));
    PyErr_SetObject(type.ptr(), raised.ptr());
}

trellis_kind kind_from(const std::string& name) {
    for (const auto kind : {TRELLIS_KIND_IMAGE, TRELLIS_KIND_CUTOUT, TRELLIS_KIND_MASK}) {
        if (name == host::kind_name(kind)) {
            return kind;
        }
    }
    throw py::value_error("kind is \"image\", \"cutout\" or \"mask\", not \"" + name + "\"");
}

// What numpy is to show of a picture's buffers: they have their bottom row first, and their samples
// from blue to red.
py::array view(const py::object& owner, void* first, std::vector<py::ssize_t> shape,
               std::vector<py::ssize_t> strides, bool words) {
    const py::dtype type = words ? py::dtype::of<std::uint16_t>() : py::dtype::of<std::uint8_t>();
    return {type, std::move(shape), std::move(strides), first, owner};
}

py::object colour_of(const py::object& self) {
    auto& picture = self.cast<host::Picture&>();
    if (picture.colour() == nullptr) {
        return py::none();
    }
    const py::ssize_t sample = picture.has_words() ? 2 : 1;
    const py::ssize_t pixel = picture.colour_samples() * sample;
    const py::ssize_t row = picture.width() * pixel;
    std::uint8_t* const red_of_top =
        picture.colour() + (picture.height() - 1) * row + pixel - sample;
    return view(self, red_of_top, {picture.height(), picture.width(), 3}, {-row, pixel, -sample},
                picture.has_words());
}

py::object matte_of(const py::object& self) {
    auto& picture = self.cast<host::Picture&>();
    if (picture.matte() == nullptr) {
        return py::none();
    }
    const py::ssize_t sample = picture.has_words() ? 2 : 1;
    const py::ssize_t row = picture.width() * sample;
    std::uint8_t* const top = picture.matte() + (picture.height() - 1) * row;
    return view(self, top, {picture.height(), picture.width()}, {-row, sample},
                picture.has_words());
}

// Columns from the left, rows from the top; a region as the library has it starts at the bottom.
using Box = std::tuple<int, int, int, int>;  // left, top, width, height

host::Region region_of(const Box& box, const std::string& path) {
    const auto [left, top, width, height] = box;
    const host::Description info = host::describe(path);
    if (left < 0 || top < 0 || width < 1 || height < 1 || width > info.width - left ||
        height > info.height - top) {
        throw host::Error(path, TRELLIS_WINDOW_ERROR,
                          "the picture is " + std::to_string(info.width) + " x " +
                              std::to_string(info.height) + " pixels");
    }
    return {left, info.height - top - height, left + width - 1, info.height - top - 1};
}

host::Picture load(const std::string& path, const std::optional<std::string>& kind,
                   const std::optional<Box>& box, std::optional<int> depth, bool lenient) {
    host::LoadOptions options = {.depth = depth, .lenient = lenient};
    if (kind) {
        options.kind = kind_from(*kind);
    }
    if (depth == 10) {
        options.depth.reset();
        options.codes = true;
    }
    const py::gil_scoped_release others_may_run;
    if (box) {
        options.region = region_of(*box, path);
    }
    host::Picture picture = host::load(path, options);
    if (depth == 10 && picture.depth() != 10) {
        throw host::Error(path, TRELLIS_NOT_IN_FORMAT_ERROR, "it holds no codes of 10 bits");
    }
    return picture;
}

/// Copies an array of native samples, whatever its strides, to samples of which the first of the
/// bottom row's is at `first`. Channels are red, green and blue, which pixels hold backwards.
template <class Sample>
void copy_array(const py::array& array, Sample* first, int per_pixel) {
    const py::ssize_t height = array.shape(0);
    const py::ssize_t width = array.shape(1);
    const py::ssize_t channels = array.ndim() == 3 ? array.shape(2) : 1;
    const py::ssize_t to_channel = array.ndim() == 3 ? array.strides(2) : 0;
    const py::ssize_t to_row = array.strides(0);
    const py::ssize_t to_pixel = array.strides(1);
    const auto* const top = static_cast<const std::uint8_t*>(array.data());
    const py::gil_scoped_release others_may_run;
    for (py::ssize_t y = 0; y < height; ++y) {
        const std::uint8_t* from = top + y * to_row;
        Sample* to = first + (height - 1 - y) * width * per_pixel;
        for (py::ssize_t x = 0; x < width; ++x, from += to_pixel, to += per_pixel) {
            for (py::ssize_t c = 0; c < channels; ++c) {
                std::memcpy(to - c, from + c * to_channel, sizeof(Sample));
            }
        }
    }
}

template <class Sample>
void copy_arrays(host::Picture& picture, const std::optional<py::array>& colour,
                 const std::optional<py::array>& matte) {
    if (colour) {
        const int samples = picture.colour_samples();
        copy_array(*colour, reinterpret_cast<Sample*>(picture.colour()) + samples - 1, samples);
    }
    if (matte) {
        copy_array(*matte, reinterpret_cast<Sample*>(picture.matte()), 1);
    }
}

/// A picture with the samples of one or two arrays of bytes, or of words for a `depth` of 16.
host::Picture picture_from(const std::optional<py::array>& colour,
                           const std::optional<py::array>& matte, int depth) {
    const trellis_kind kind = !colour ? TRELLIS_KIND_MASK
                              : matte ? TRELLIS_KIND_CUTOUT
                                      : TRELLIS_KIND_IMAGE;
    const py::array& any = colour ? *colour : matte.value();
    host::Picture picture(kind, static_cast<int>(any.shape(1)), static_cast<int>(any.shape(0)),
                          depth);
    if (picture.has_words()) {
        copy_arrays<std::uint16_t>(picture, colour, matte);
    } else {
        copy_arrays<std::uint8_t>(picture, colour, matte);
    }
    return picture;
}

using Fields = std::vector<std::pair<std::string, std::string>>;

void save(const host::Picture& picture, const std::string& path, std::optional<int> bits,
          const Fields& fields, bool compress, bool overwrite) {
    host::SaveOptions options = {.compress = compress, .force = overwrite, .bits = bits};
    for (const auto& [field, value] : fields) {
        options.fields.push_back({field, value});
    }
    const py::gil_scoped_release others_may_run;
    host::save(picture, path, options);
}

py::dict describe(const std::string& path) {
    const host::Description info = [&] {
        const py::gil_scoped_release others_may_run;
        return host::describe(path);
    }();
    using namespace py::literals;
    return py::dict(
        "format"_a = text(info.format->code), "kind"_a = host::kind_name(info.kind),
        "width"_a = info.width, "height"_a = info.height, "channels"_a = info.channels,
        "bits"_a = info.depth, "compressed"_a = info.compressed,
        "byte_order"_a = text_or_none(info.byte_order), "packing"_a = text_or_none(info.packing),
        "transfer"_a = text_or_none(info.transfer), "time_code"_a = text_or_none(info.time_code),
        "frame_rate"_a = info.frame_rate, "creator"_a = text_or_none(info.creator),
        "refusal"_a = text_or_none(info.refusal), "missing"_a = text_or_none(info.missing));
}

py::object value_of(const host::HeaderField::Value& value) {
    if (const auto* number = std::get_if<std::uint32_t>(&value)) {
        return py::int_(*number);
    }
    if (const auto* real = std::get_if<float>(&value)) {
        return py::float_(*real);
    }
    if (const auto* characters = std::get_if<std::string>(&value)) {
        return text(*characters);
    }
    return py::none();
}

/// What the file is too short for is left out, what it leaves undefined is None.
py::dict fields_of(const std::vector<host::HeaderField>& fields) {
    py::dict dict;
    for (const host::HeaderField& field : fields) {
        if (!std::holds_alternative<host::HeaderField::Absent>(field.value)) {
            dict[text(field.name)] = value_of(field.value);
        }
    }
    return dict;
}

py::list chunks_of(const std::vector<host::HeaderChunk>& chunks) {
    py::list list;
    for (const host::HeaderChunk& chunk : chunks) {
        py::dict dict;
        dict["tag"] = text(chunk.tag);
        dict["offset"] = chunk.offset;
        dict["size"] = chunk.size;
        if (!chunk.type.empty()) {
            dict["type"] = text(chunk.type);
            dict["chunks"] = chunks_of(chunk.chunks);
        }
        if (!chunk.fields.empty()) {
            dict["fields"] = fields_of(chunk.fields);
        }
        list.append(std::move(dict));
    }
    return list;
}

py::dict header_of(const std::string& path) {
    const host::Header header = [&] {
        const py::gil_scoped_release others_may_run;
        return host::read_header(path);
    }();
    py::dict dict;
    dict["format"] = text(header.format->code);
    if (!header.byte_order.empty()) {
        dict["byte order"] = text(header.byte_order);
    }
    if (!header.chunks.empty()) {
        dict["chunks"] = chunks_of(header.chunks);
        return dict;
    }
    py::dict sections;
    for (const host::HeaderSection& section : header.sections) {
        sections[text(section.name)] = fields_of(section.fields);
    }
    dict["sections"] = std::move(sections);
    return dict;
}

py::list formats() {
    py::list list;
    for (const host::Format& format : host::formats()) {
        const std::pair<const char*, host::Format::Ability> abilities[] = {
            {"image", format.image}, {"cutout", format.cutout}, {"mask", format.mask}};
        py::list loads;
        py::list saves;
        for (const auto& [kind, ability] : abilities) {
            if (ability.load) {
                loads.append(kind);
            }
            if (ability.save) {
                saves.append(kind);
            }
        }
        list.append(py::make_tuple(format.code, format.name, py::tuple(py::cast(format.extensions)),
                                   format.depth, py::tuple(loads), py::tuple(saves)));
    }
    return list;
}

host::Pattern pattern_from(const std::string& pattern) {
    auto parsed = host::Pattern::parse(pattern);
    if (!parsed) {
        throw py::value_error(
            "a pattern has one place for the number of a frame, such as %04d or #### or @@@@");
    }
    return *parsed;
}

/// Numbers and names of the frames in a list, or of those that are there.
std::vector<std::pair<std::int64_t, py::bytes>> frames_of(const std::string& text,
                                                          const std::optional<std::string>& list) {
    const host::Pattern pattern = pattern_from(text);
    const auto numbers = list ? host::parse_frames(*list) : pattern.frames_on_disk();
    if (!numbers) {
        throw py::value_error("frames are a list such as \"1001-1100,1200\", not \"" + *list +
                              "\"");
    }
    std::vector<std::pair<std::int64_t, py::bytes>> frames;
    for (const std::int64_t number : *numbers) {
        frames.emplace_back(number, py::bytes(pattern.name(number)));
    }
    return frames;
}

}  // namespace

PYBIND11_MODULE(_core, module) {
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            std::rethrow_exception(thrown);
        } catch (const host::Error& error) {
            raise(error);
        }
    });
    py::class_<host::Picture>(module, "Picture")
        .def_property_readonly("kind",
                               [](const host::Picture& p) { return host::kind_name(p.kind()); })
        .def_property_readonly("depth", &host::Picture::depth)
        .def_property_readonly("width", &host::Picture::width)
        .def_property_readonly("height", &host::Picture::height)
        .def_property_readonly("scale", &host::Picture::greatest_sample)
        .def_property_readonly("warnings", &host::Picture::warnings)
        .def_property_readonly("colour", colour_of)
        .def_property_readonly("matte", matte_of)
        .def("take_header", [](host::Picture& to, const host::Picture& from) {
            to.set_film_header(from.film_header());
        });
    module.def("load", load);
    module.def("picture_from", picture_from);
    module.def("save", save);
    module.def("describe", describe);
    module.def("header", header_of);
    module.def("formats", formats);
    module.def("frames", frames_of);
    module.def("depth_for_name", [](const std::string& path, int depth) {
        return host::format_for_name(path, depth).depth;
    });
    module.def("usable_processors", host::usable_processors);
}
