// A stand-in CoreAux2 extension module: its evaluator runs the library's own routines of the
// system group by number, so every legacy_ twin answers like its current function.
#include <vkl/interp.h>

#include "text/system_group.h"

extern "C" VKL_API int CALL_VALUEANY(VKL_State* L, TObject* args, TObject* result, int function) {
  const VKL_CodedRoutine routine = vkl::text::system_group_routine(function);
  return routine ? routine(L, args, result, function) : 0;
}
