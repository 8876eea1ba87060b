// Extension modules: modules the host loads itself, whose one evaluator "CALL_VALUEANY"
// serves the legacy functions of a group by number. The library never loads them; it finds
// them among the modules already in the process.
#pragma once

#include <vkl/interp.h>

namespace vkl::plugin {

enum class ExtensionModule { CoreAux2, CalAux, TextAux, NumAux };

// The module's evaluator, cached after the first successful look-up; null while the module is
// not loaded or lacks the export (the next call then looks again).
VKL_CallValueAny extension_evaluator(ExtensionModule module);

// The module's file name ("NumAux.so", ...).
const char* extension_file(ExtensionModule module);

}  // namespace vkl::plugin
