// createobject(class, args...): an object of a named-object type of the library or a script
// class instance made by the host.
#pragma once

#include <vkl/interp.h>

namespace vkl::plugin {

int createobject(VKL_State* L, TObject* args, int nargs, TObject* result);

// Puts a newly made named object into the result: 1, or 0 with the object freed (and the
// result untouched) when there is no object or the cell cannot take it.
int store_new_object(VKL_State* L, TObject* result, VKL_Any* object);

}  // namespace vkl::plugin
