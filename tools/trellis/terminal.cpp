#include "terminal.h"

#include <chafa.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "output.h"
#include "pictures.h"

namespace tool {

namespace {

template <auto release>
struct Release {
    void operator()(auto* object) const { release(object); }
};

using Capabilities = std::unique_ptr<ChafaTermInfo, Release<chafa_term_info_unref>>;
using Symbols = std::unique_ptr<ChafaSymbolMap, Release<chafa_symbol_map_unref>>;
using Config = std::unique_ptr<ChafaCanvasConfig, Release<chafa_canvas_config_unref>>;
using Canvas = std::unique_ptr<ChafaCanvas, Release<chafa_canvas_unref>>;

std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

struct EnvironmentList {
    gchar** entries = g_get_environ();
    EnvironmentList() = default;
    EnvironmentList(const EnvironmentList&) = delete;
    EnvironmentList& operator=(const EnvironmentList&) = delete;
    ~EnvironmentList() { g_strfreev(entries); }
};

/// What the terminal is known to take, by the environment that describes it.
Capabilities known_capabilities() {
    const EnvironmentList list;
    return Capabilities(chafa_term_db_detect(chafa_term_db_get_default(), list.entries));
}

/// What is to be used: nothing in plain text, and every protocol, for it may be asked for.
Capabilities used_capabilities(bool coloured) {
    if (!coloured) {
        return Capabilities(chafa_term_info_new());
    }
    Capabilities capabilities = known_capabilities();
    const Capabilities rest(chafa_term_db_get_fallback_info(chafa_term_db_get_default()));
    chafa_term_info_supplement(capabilities.get(), rest.get());
    return capabilities;
}

struct Protocol {
    Medium medium;
    ChafaTermSeq begin;
    ChafaPixelMode mode;
};

// The best first; cells are what is left.
constexpr Protocol protocols[] = {
    {Medium::kitty, CHAFA_TERM_SEQ_BEGIN_KITTY_IMMEDIATE_IMAGE_V1, CHAFA_PIXEL_MODE_KITTY},
    {Medium::iterm, CHAFA_TERM_SEQ_BEGIN_ITERM2_IMAGE, CHAFA_PIXEL_MODE_ITERM2},
    {Medium::sixel, CHAFA_TERM_SEQ_BEGIN_SIXELS, CHAFA_PIXEL_MODE_SIXELS},
};

Medium best_medium() {
    const Capabilities capabilities = known_capabilities();
    for (const Protocol& protocol : protocols) {
        if (chafa_term_info_have_seq(capabilities.get(), protocol.begin) != 0) {
            return protocol.medium;
        }
    }
    return Medium::cells;
}

ChafaPixelMode pixel_mode(Medium medium) {
    const auto* protocol = std::ranges::find(protocols, medium, &Protocol::medium);
    return protocol == std::end(protocols) ? CHAFA_PIXEL_MODE_SYMBOLS : protocol->mode;
}

ChafaCanvasMode colour_mode(const ChafaTermInfo* capabilities) {
    constexpr struct {
        ChafaTermSeq set;
        ChafaCanvasMode mode;
    } modes[] = {
        {CHAFA_TERM_SEQ_SET_COLOR_FGBG_DIRECT, CHAFA_CANVAS_MODE_TRUECOLOR},
        {CHAFA_TERM_SEQ_SET_COLOR_FGBG_256, CHAFA_CANVAS_MODE_INDEXED_240},
        {CHAFA_TERM_SEQ_SET_COLOR_FGBG_16, CHAFA_CANVAS_MODE_INDEXED_16},
        {CHAFA_TERM_SEQ_SET_COLOR_FGBG_8, CHAFA_CANVAS_MODE_INDEXED_8},
    };
    for (const auto& mode : modes) {
        if (chafa_term_info_have_seq(capabilities, mode.set) != 0) {
            return mode.mode;
        }
    }
    return CHAFA_CANVAS_MODE_FGBG;
}

/// Whether characters beyond ASCII appear as what they are, by the locale's name.
bool takes_unicode() {
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        if (const std::string_view locale = environment(name); !locale.empty()) {
            return locale.find("UTF-8") != locale.npos || locale.find("utf8") != locale.npos;
        }
    }
    return false;
}

Symbols symbols_for(bool coloured) {
    Symbols symbols(chafa_symbol_map_new());
    const int blocks = CHAFA_SYMBOL_TAG_SPACE | CHAFA_SYMBOL_TAG_BLOCK;
    const int tags = !takes_unicode() ? CHAFA_SYMBOL_TAG_ASCII
                     : coloured       ? blocks
                                      : blocks | CHAFA_SYMBOL_TAG_STIPPLE;
    chafa_symbol_map_add_by_tags(symbols.get(), static_cast<ChafaSymbolTags>(tags));
    return symbols;
}

/// As large as the terminal, or a likely size. More than 512 are not worth the memory.
winsize size_of_terminal() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {.ws_row = 25, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
    }
    return size;
}

/// A picture with pixels as large as there is room for: people who look closely want to see these,
/// not what is smooth between them.
host::Picture with_square_pixels(const host::Picture& picture, host::Extent box) {
    const int scale =
        std::max(1, std::min(box.width / picture.width(), box.height / picture.height()));
    return host::scaled(picture, {picture.width() * scale, picture.height() * scale});
}

}  // namespace

Terminal::Terminal(std::optional<Medium> medium, std::optional<host::Extent> cells) {
    const bool is_terminal = isatty(STDOUT_FILENO) != 0 && environment("TERM") != "" &&
                             environment("TERM") != "dumb" && environment("NO_COLOR").empty();
    medium_ = medium ? *medium : is_terminal ? best_medium() : Medium::cells;
    coloured_ = medium || is_terminal;

    constexpr int most_cells = 512;
    const winsize size = size_of_terminal();
    const int rows = std::max(size.ws_row - 1, 1);  // the last one is for what comes next
    cells_ = cells ? *cells : host::Extent{size.ws_col, rows};
    cells_ = {std::min(cells_.width, most_cells), std::min(cells_.height, most_cells)};
    cell_ = {size.ws_xpixel / size.ws_col, size.ws_ypixel / size.ws_row};
    if (cell_.width < 1 || cell_.height < 1 || medium_ == Medium::cells) {
        cell_ = {8, 16};
    }
}

host::Extent Terminal::box() const {
    return {cells_.width * cell_.width, cells_.height * cell_.height};
}

void Terminal::draw(const host::Picture& picture) const {
    const Capabilities capabilities = used_capabilities(coloured_);
    host::Extent cells = cells_;
    chafa_calc_canvas_geometry(picture.width(), picture.height(), &cells.width, &cells.height,
                               static_cast<float>(cell_.width) / static_cast<float>(cell_.height),
                               TRUE, FALSE);
    const Config config(chafa_canvas_config_new());
    chafa_canvas_config_set_geometry(config.get(), std::max(cells.width, 1),
                                     std::max(cells.height, 1));
    chafa_canvas_config_set_cell_geometry(config.get(), cell_.width, cell_.height);
    chafa_canvas_config_set_pixel_mode(config.get(), pixel_mode(medium_));
    chafa_canvas_config_set_canvas_mode(
        config.get(), coloured_ ? colour_mode(known_capabilities().get()) : CHAFA_CANVAS_MODE_FGBG);
    chafa_canvas_config_set_dither_mode(
        config.get(), coloured_ ? CHAFA_DITHER_MODE_NONE : CHAFA_DITHER_MODE_DIFFUSION);
    const Symbols symbols = symbols_for(coloured_);
    chafa_canvas_config_set_symbol_map(config.get(), symbols.get());

    const Canvas canvas(chafa_canvas_new(config.get()));
    const host::Picture large = with_square_pixels(picture, box());
    const std::vector<std::uint8_t> rgba = rgba_of(large);
    chafa_canvas_draw_all_pixels(canvas.get(), CHAFA_PIXEL_RGBA8_UNASSOCIATED, rgba.data(),
                                 large.width(), large.height(), large.width() * 4);
    const std::unique_ptr<GString, decltype([](GString* text) { g_string_free(text, TRUE); })> text(
        chafa_canvas_print(canvas.get(), capabilities.get()));
    print("%s\n", text->str);
}

}  // namespace tool
