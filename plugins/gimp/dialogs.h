#pragma once

// What the plug-in asks people.

#include <libgimp/gimp.h>

namespace plugin {

/// How film scans are opened: with their samples, or as a print would show them.
enum View : gint32 { as_scanned = 0, log_view = 1 };

/// How pictures are exported.
struct ExportOptions {
    gint32 compress;  // in runs, where the format can
    gint32 matte;     // keep it in DPX and Cineon files, in a layout that no other program reads
};

/// Both return false when the dialog was cancelled.
bool ask_for_view(View& view);
bool ask_for_export_options(const char* format, bool film, ExportOptions& options);

}  // namespace plugin
