// The tvk_mutex object type: a system-wide named mutex that scripts make with vk_mutex(name)
// or createobject("tvk_mutex", name), re-entrant within one object.
#pragma once

namespace vkl::plugin {

inline constexpr const char* kMutexTypeName = "tvk_mutex";

// Registers the type's object manager with the interpreter.
void register_mutex_manager();

}  // namespace vkl::plugin
