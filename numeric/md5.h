// md5(data, n): the MD5 digest of the first n bytes of a narrow string or binary, as 32
// upper-case hexadecimal characters (libcrypto computes it).
// Failure policy: that of the elementwise drivers (numeric/apply.h); other kinds of data are
// left to the mode and fill rules; a count of 0, a negative one or one beyond the data forms
// no digest and answers the real 0.
#pragma once

#include "numeric/whole.h"
#include "plugin/function_row.h"

namespace vkl::numeric {

struct Md5 : PairTraits<17, Shape::kNarrowOrBinary> {
  static bool scalar(VKL_State* L, const TObject* a, const TObject* b, TObject* const* t);
};

}  // namespace vkl::numeric

namespace vkl::plugin {

inline constexpr FunctionRow kMd5Rows[] = {
    {"md5", numeric::binary<numeric::Md5>, "md5(data, n [, mode [, fill]])",
     "MD5 digest of the first n bytes of a string or binary, in upper-case hexadecimal"},
};

}  // namespace vkl::plugin
