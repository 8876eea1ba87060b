// Language bridges (Java, R, Python, Matlab, BLP): separate modules, each enabled by its own
// settings section, that register their script functions through the host's registration
// callback. A bridge is loaded at most once; one that is disabled or missing is tried again
// whenever the host reloads its settings.
#pragma once

#include <vkl/interp.h>

namespace vkl::plugin {

// Keeps the host's registration callback for the bridges' own entry points.
void save_register_table(VKL_RegisterTableFn registerTable);

// Start-up loading: Java, R, Python (only when a version is configured), Matlab.
void load_startup_bridges(VKL_State* L);

// The settings-change notification: tries every bridge not loaded yet, BLP included.
void bridge_notify(const char* fileName, int kind);

}  // namespace vkl::plugin
