#include "plugin/extension.h"

#include "plugin/loaded_modules.h"

namespace vkl::plugin {
namespace {

struct Extension {
  const char* file;
  void* handle;
  VKL_CallValueAny evaluator;
};

// Indexed by ExtensionModule; filled on first successful use and kept.
Extension g_extensions[] = {
    {"CoreAux2.so", nullptr, nullptr},
    {"CalAux.so", nullptr, nullptr},
    {"TextAux.so", nullptr, nullptr},
    {"NumAux.so", nullptr, nullptr},
};

}  // namespace

const char* extension_file(ExtensionModule module) {
  return g_extensions[static_cast<int>(module)].file;
}

VKL_CallValueAny extension_evaluator(ExtensionModule module) {
  Extension& ext = g_extensions[static_cast<int>(module)];
  if (ext.evaluator) return ext.evaluator;
  if (!ext.handle) ext.handle = find_loaded_module(ext.file);
  if (!ext.handle) return nullptr;
  ext.evaluator = reinterpret_cast<VKL_CallValueAny>(module_symbol(ext.handle, "CALL_VALUEANY"));
  return ext.evaluator;
}

}  // namespace vkl::plugin
