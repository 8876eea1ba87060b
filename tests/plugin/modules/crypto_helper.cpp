// A stand-in crypto helper with predictable keys: "public:<bits>:<user>" and
// "private:<bits>:<user>"; the user id of a key is the text after its last ':'; the key type
// is the key's length.
#include <vkl/object.h>

#include <cstdio>
#include <cstring>

extern "C" VKL_API int OpenSSL_GenKey_rsa(int bits, const char* userId, char* publicKey,
                                          int* publicLen, char* privateKey, int* privateLen) {
  *publicLen = std::snprintf(publicKey, 2048, "public:%d:%s", bits, userId);
  *privateLen = std::snprintf(privateKey, 2048, "private:%d:%s", bits, userId);
  return 1;
}

extern "C" VKL_API int OpenSSL_Key_Type(const char*, int len) {
  return len;
}

extern "C" VKL_API const char* vk_RsaUserID(const char* key) {
  const char* colon = std::strrchr(key, ':');
  return colon ? colon + 1 : nullptr;
}
