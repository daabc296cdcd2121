// Gives gdk-pixbuf a file in pieces of SIZE bytes, as a program does that gets it from a network,
// and saves what becomes of it: feed FILE SIZE OUT.png

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <cstdio>
#include <cstdlib>

int main(int /*argc*/, char** words) {
    gchar* bytes = nullptr;
    gsize left = 0;
    GError* error = nullptr;
    GdkPixbufLoader* loader = gdk_pixbuf_loader_new();
    bool good = g_file_get_contents(words[1], &bytes, &left, &error) != FALSE;
    const auto* piece = reinterpret_cast<const guchar*>(bytes);
    const gsize size = std::strtoul(words[2], nullptr, 10);
    for (; good && left > 0; piece += MIN(size, left), left -= MIN(size, left)) {
        good = gdk_pixbuf_loader_write(loader, piece, MIN(size, left), &error) != FALSE;
    }
    good = gdk_pixbuf_loader_close(loader, good ? &error : nullptr) != FALSE && good;
    GdkPixbuf* picture = gdk_pixbuf_loader_get_pixbuf(loader);
    good = good && picture != nullptr && gdk_pixbuf_save(picture, words[3], "png", &error, nullptr);
    if (!good) {
        std::fprintf(stderr, "%s\n", error != nullptr ? error->message : "no picture");
    }
    return good ? 0 : 1;
}
