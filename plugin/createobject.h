// createobject(class, args...): an object of a named-object type of the library or a script
// class instance made by the host.
#pragma once

#include <vkl/object.h>

namespace vkl::plugin {

int createobject(VKL_State* L, TObject* args, int nargs, TObject* result);

}  // namespace vkl::plugin
