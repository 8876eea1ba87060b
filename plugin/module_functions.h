// Module functions: information about the process's modules, the interpreter's file name, the
// internal key service, the named mutex, and the legacy date functions served by the CalAux
// extension module.
#pragma once

#include <vkl/object.h>

#include "plugin/function_row.h"
#include "text/coded.h"

namespace vkl::plugin {

int vk_moduleinfo(VKL_State* L, TObject* args, int nargs, TObject* result);
int vklfilename(VKL_State* L, TObject* args, int nargs, TObject* result);
int vkinnercall(VKL_State* L, TObject* args, int nargs, TObject* result);
int vk_mutex(VKL_State* L, TObject* args, int nargs, TObject* result);

// Descriptors of the legacy date functions, numbered within the calendar group
// (gmttolocaldatetime 0, dateof 1, isinleapyear 2, ...); their routine is the CalAux module's.
inline constexpr VKL_CodedDescriptor kCalAuxDateOf = text::number_fn(1, 1, nullptr);
inline constexpr VKL_CodedDescriptor kCalAuxIsInLeapYear = text::number_fn(2, 1, nullptr);

inline constexpr FunctionRow kModuleRows[] = {
    {"vk_moduleinfo", vk_moduleinfo, "vk_moduleinfo([all])",
     "file time and size of the executable and the interpreter; with all, of every module"},
    {"vklfilename", vklfilename, "vklfilename()", "the file name of the running interpreter"},
    {"vkinnercall", vkinnercall, "vkinnercall(selector, ...)",
     "internal key service: RSA key generation and key queries"},
    {"vk_mutex", vk_mutex, "vk_mutex(name [, autoWait])",
     "a system-wide named mutex object with Wait(ms), Release() and getHandle()"},
    {"legacy_dateof", text::legacy_call<kCalAuxDateOf, ExtensionModule::CalAux>,
     "legacy_dateof(datetime)", "the date part of a date-time, from the CalAux extension module"},
    {"legacy_isinleapyear", text::legacy_call<kCalAuxIsInLeapYear, ExtensionModule::CalAux>,
     "legacy_isinleapyear(datetime)",
     "whether the date-time's year is a leap year, from the CalAux extension module"},
};

}  // namespace vkl::plugin
