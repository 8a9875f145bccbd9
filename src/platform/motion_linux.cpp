// GLib first: its headers use Qt's keyword `signals` as a name.
#include <gio/gio.h>

#include "motion.h"

bool prefersReducedMotion()
{
    GSettingsSchemaSource *source = g_settings_schema_source_get_default();
    if (!source)
        return false;
    GSettingsSchema *schema =
        g_settings_schema_source_lookup(source, "org.gnome.desktop.interface", TRUE);
    if (!schema)
        return false;
    bool reduced = false;
    if (g_settings_schema_has_key(schema, "enable-animations")) {
        GSettings *settings = g_settings_new_full(schema, nullptr, nullptr);
        reduced = !g_settings_get_boolean(settings, "enable-animations");
        g_object_unref(settings);
    }
    g_settings_schema_unref(schema);
    return reduced;
}
