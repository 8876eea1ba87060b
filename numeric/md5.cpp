#include "numeric/md5.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstdint>

namespace vkl::numeric {

bool Md5::scalar(VKL_State* L, const TObject* a, const TObject* b, TObject* const* t) {
  const bool binary = a->tag == VKL_TBINARY;
  const auto* data = binary ? static_cast<const unsigned char*>(vkl_ptr(a))
                            : reinterpret_cast<const unsigned char*>(VKL_AsString(a));
  const int64_t size = binary ? std::max(vkl_len(a), 0) : VKL_StringLen(a);
  const int64_t n = tolerant_int64(b);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digest_len = 0;
  if (n <= 0 || n > size ||
      !EVP_Digest(data, static_cast<size_t>(n), digest, &digest_len, EVP_md5(), nullptr)) {
    vkl_put_real(t[0], 0);
    return true;
  }
  static constexpr char kHex[] = "0123456789ABCDEF";
  char text[2 * EVP_MAX_MD_SIZE];
  for (unsigned i = 0; i < digest_len; ++i) {
    text[2 * i] = kHex[digest[i] >> 4];
    text[2 * i + 1] = kHex[digest[i] & 15];
  }
  return VKL_SetStringEx(L, t[0], text, 2 * static_cast<int64_t>(digest_len)) != 0;
}

}  // namespace vkl::numeric
