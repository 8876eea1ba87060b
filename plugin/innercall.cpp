// vkinnercall: the internal key service, backed by the crypto helper module vkcrypt.so when
// the host ships one. The result is integer 0 unless a selector succeeds; a call without an
// integer selector is rejected, and so is key generation when the helper is not there at all.
#include <vkl/kernel.h>

#include <chrono>
#include <cstring>
#include <random>
#include <string_view>

#include "plugin/args.h"
#include "plugin/loaded_modules.h"
#include "plugin/module_functions.h"

namespace vkl::plugin {
namespace {

// Fills the two buffers' first bytes with the public and private key texts and their lengths;
// the buffers arrive full of random bytes the generator may use as entropy. Nonzero on success.
using GenKeyRsaFn = int (*)(int bits, const char* userId, char* publicKey, int* publicLen,
                            char* privateKey, int* privateLen);
// The type of a key text of `len` bytes.
using KeyTypeFn = int (*)(const char* key, int len);
// The user id a key text carries (a zero-terminated text owned by the helper), or null.
using RsaUserIdFn = const char* (*)(const char* key);

enum : int64_t { kGenerateKeys = 9999, kKeyUserId = 10000, kKeyType = 10001 };

constexpr size_t kKeyBufferSize = 2048;
constexpr int kMaxKeyBits = 2048;
constexpr int kKeyBitsStep = 128;
constexpr size_t kMaxUserIdBytes = 31;

struct CryptoHelper {
  void* module = nullptr;
  GenKeyRsaFn gen_key_rsa = nullptr;
  KeyTypeFn key_type = nullptr;
  RsaUserIdFn rsa_user_id = nullptr;

  CryptoHelper() {
    module = load_module("vkcrypt.so");
    gen_key_rsa = reinterpret_cast<GenKeyRsaFn>(module_symbol(module, "OpenSSL_GenKey_rsa"));
    key_type = reinterpret_cast<KeyTypeFn>(module_symbol(module, "OpenSSL_Key_Type"));
    rsa_user_id = reinterpret_cast<RsaUserIdFn>(module_symbol(module, "vk_RsaUserID"));
  }
};

// Looked up once when the library is loaded.
const CryptoHelper g_crypto;

void fill_random(char* buffer, size_t size, std::minstd_rand& generator) {
  for (size_t i = 0; i < size; ++i) buffer[i] = static_cast<char>(generator() & 0xFF);
}

// vkinnercall(9999, bits, userId, publicKey, privateKey): 1 when a key pair was generated
void generate_keys(VKL_State* L, TObject* args, int nargs, TObject* result) {
  int32_t bits = 0;
  std::string_view user;
  if (nargs < 5 || !g_crypto.gen_key_rsa || !arg_int(args, nargs, 1, &bits) ||
      !arg_string(args, nargs, 2, &user))
    return;
  if (bits <= 0 || bits > kMaxKeyBits || bits % kKeyBitsStep != 0) return;
  if (user.empty() || user.size() > kMaxUserIdBytes) return;
  char user_id[kMaxUserIdBytes + 1] = {};
  std::memcpy(user_id, user.data(), user.size());

  std::minstd_rand generator(static_cast<std::minstd_rand::result_type>(
      std::chrono::steady_clock::now().time_since_epoch().count()));
  char public_key[kKeyBufferSize];
  char private_key[kKeyBufferSize];
  fill_random(public_key, sizeof public_key, generator);
  fill_random(private_key, sizeof private_key, generator);
  int public_len = 0;
  int private_len = 0;
  if (!g_crypto.gen_key_rsa(bits, user_id, public_key, &public_len, private_key, &private_len))
    return;
  const auto fits = [](int len) { return len >= 0 && static_cast<size_t>(len) <= kKeyBufferSize; };
  if (!fits(public_len) || !fits(private_len)) return;
  if (VKL_SetStringEx(L, arg_at(args, 3), public_key, public_len) &&
      VKL_SetStringEx(L, arg_at(args, 4), private_key, private_len))
    VKL_SetInt(L, result, 1);
}

}  // namespace

// vkinnercall(selector, ...): 9999 key generation, 10000 a key's user id, 10001 a key's type;
// any other selector gives 0
int vkinnercall(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs < 1) return 0;
  const int tag = arg_at(args, 0)->tag;
  if (tag != VKL_TINT && tag != VKL_TINT64) return 0;
  const int64_t selector = VKL_AsInt64(arg_at(args, 0));
  if (selector == kGenerateKeys && !g_crypto.module) return 0;
  VKL_SetInt(L, result, 0);
  std::string_view key;
  switch (selector) {
    case kGenerateKeys:
      generate_keys(L, args, nargs, result);
      break;
    case kKeyUserId:
      if (g_crypto.rsa_user_id && arg_string(args, nargs, 1, &key)) {
        if (const char* user = g_crypto.rsa_user_id(key.data()))
          VKL_SetStringEx(L, result, user, static_cast<int64_t>(strnlen(user, kKeyBufferSize)));
      }
      break;
    case kKeyType:
      if (g_crypto.key_type && arg_string(args, nargs, 1, &key))
        VKL_SetInt(L, result, g_crypto.key_type(key.data(), static_cast<int>(key.size())));
      break;
    default:
      break;
  }
  return 1;
}

}  // namespace vkl::plugin
