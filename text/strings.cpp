// String functions of the system group. The driver has checked the count and kinds; a routine
// fails (0, result untouched) only when memory runs out.
#include "text/strings.h"

#include <vkl/vk_strings.h>

#include "text/text_args.h"

namespace vkl::text {

enum StringCode {
  kUpperCase = 5,
  kLowerCase = 6,
};

int string_routine(VKL_State* L, TObject* args, TObject* result, int code) {
  const TObject* s = coded_arg(args, 0);
  switch (code) {
    case kUpperCase:
      return map_text<VK_UpperCase, VK_UpperCaseW>(L, s, result);
    case kLowerCase:
      return map_text<VK_LowerCase, VK_LowerCaseW>(L, s, result);
    default:
      return 0;
  }
}

}  // namespace vkl::text
