#include "dialogs.h"

#include <libgimp/gimpui.h>

namespace plugin {

namespace {

constexpr char role[] = "file-trellis";

void start_interface() {
    gimp_ui_init(role, FALSE);
}

bool run(GtkWidget* dialog) {
    gtk_widget_show_all(dialog);
    const bool confirmed = gimp_dialog_run(GIMP_DIALOG(dialog)) == GTK_RESPONSE_OK;
    gtk_widget_destroy(dialog);
    return confirmed;
}

}  // namespace

bool ask_for_view(View& view) {
    start_interface();
    GtkWidget* dialog =
        gimp_dialog_new("Open Film Scan", role, nullptr, GtkDialogFlags(0), gimp_standard_help_func,
                        nullptr, "_Cancel", GTK_RESPONSE_CANCEL, "_Open", GTK_RESPONSE_OK, nullptr);
    int chosen = view;
    GtkWidget* frame = gimp_int_radio_group_new(
        TRUE, "Samples", G_CALLBACK(gimp_radio_button_update), &chosen, chosen, "As _scanned",
        int{as_scanned}, nullptr, "_Log view: as a print, for looking only", int{log_view}, nullptr,
        nullptr);
    gtk_container_set_border_width(GTK_CONTAINER(frame), 12);
    gtk_container_add(GTK_CONTAINER(gtk_dialog_get_content_area(GTK_DIALOG(dialog))), frame);
    const bool confirmed = run(dialog);
    view = View(chosen);
    return confirmed;
}

bool ask_for_export_options(const char* format, bool film, ExportOptions& options) {
    start_interface();
    GtkWidget* dialog = gimp_export_dialog_new(format, role, nullptr);
    GtkWidget* choice = gtk_check_button_new_with_mnemonic(
        film ? "Keep the _matte, in a layout that other programs cannot read"
             : "_Compress in runs of equal pixels");
    gint32& option = film ? options.matte : options.compress;
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(choice), option);
    g_signal_connect(choice, "toggled", G_CALLBACK(gimp_toggle_button_update), &option);
    gtk_container_set_border_width(GTK_CONTAINER(choice), 12);
    gtk_container_add(GTK_CONTAINER(gimp_export_dialog_get_content_area(dialog)), choice);
    return run(dialog);
}

}  // namespace plugin
