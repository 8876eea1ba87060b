#include "methods/math_shims.h"

#include "plugin/extension.h"
#include "plugin/loaded_modules.h"

namespace vkl::methods {
namespace {

// Filled once per process and never cleared; plain words, as two racing first calls write
// the same values.
void* g_module = nullptr;
VKL_CallValueAny g_evaluators[2] = {nullptr, nullptr};

}  // namespace

VKL_CallValueAny special_function_evaluator(EvaluatorFamily family) {
  VKL_CallValueAny& cached = g_evaluators[static_cast<int>(family)];
  if (cached) return cached;
  void* module = g_module;
  if (!module) {
    module = family == EvaluatorFamily::Current
                 ? plugin::executable_module()
                 : plugin::find_loaded_module(
                       plugin::extension_file(plugin::ExtensionModule::NumAux));
  }
  if (!module) return nullptr;
  const auto found =
      reinterpret_cast<VKL_CallValueAny>(plugin::module_symbol(module, "CALL_VALUEANY"));
  if (!found) return nullptr;
  g_module = module;
  cached = found;
  return found;
}

}  // namespace vkl::methods
