#include "handlers.h"

#include <cstring>

namespace vkl_test {

int g_count_calls = 0;

namespace {

// t_divmod(a, b, q, r): q and r are output arguments.
int t_divmod(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 4 || !VKL_NumberCheck(&args[0]) || !VKL_NumberCheck(&args[1])) return 0;
  const int32_t a = VKL_AsInt(&args[0]), b = VKL_AsInt(&args[1]);
  if (b == 0) return 0;
  VKL_SetInt(L, &args[2], a / b);
  VKL_SetInt(L, &args[3], a % b);
  VKL_SetInt(L, result, 1);
  return 1;
}

// t_label(x, y): writes the strings "left" and "right" into its two arguments.
int t_label(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 2) return 0;
  VKL_SetString(L, &args[0], "left");
  VKL_SetString(L, &args[1], "right");
  VKL_SetNil(L, result);
  return 1;
}

// t_reject(...): always rejects, after scribbling on its first argument.
int t_reject(VKL_State* L, TObject* args, int nargs, TObject*) {
  if (nargs > 0) VKL_SetString(L, &args[0], "scribbled");
  return 0;
}

// t_count(): counts its calls.
int t_count(VKL_State* L, TObject*, int, TObject* result) {
  VKL_SetInt(L, result, ++g_count_calls);
  return 1;
}

// t_callback(f, x...): calls the function value f with the other arguments.
int t_callback(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs < 1 || !VKL_CallCheck(L, &args[0])) return 0;
  return raw_call2(L, &args[0], args + 1, nargs - 1, result);
}

// t_tolerant(f): calls f and returns -1 when it fails, like a numerical method.
int t_tolerant(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 1) return 0;
  TObject out;
  vkl_put_nil(&out);
  const int ok = raw_call2(L, &args[0], nullptr, 0, &out);
  VKL_FreeObjectContent(L, &out);
  VKL_SetInt(L, result, ok ? 0 : -1);
  return 1;
}

// t_stop(): asks the run to stop.
int t_stop(VKL_State* L, TObject*, int, TObject* result) {
  VKL_InterpSetStop(L, 1);
  VKL_SetNil(L, result);
  return 1;
}

// t_adjacent(a, b, c): 1 when the argument cells are consecutive at the cell stride.
int t_adjacent(VKL_State* L, TObject* args, int nargs, TObject* result) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(args);
  int ok = 1;
  for (int i = 1; i < nargs; ++i)
    ok &= reinterpret_cast<const unsigned char*>(&args[i]) == bytes + 18 * i;
  VKL_SetInt(L, result, ok);
  return 1;
}

// A counter object: t_counter(start) makes one; its method Add(n) adds and returns the sum
// (wrapping like script integers).
void* counter_create(VKL_State*, TObject* args, int nargs) {
  return new uint64_t(nargs > 0 ? static_cast<uint64_t>(VKL_AsInt64(&args[0])) : 0);
}
void counter_free(VKL_State*, void* data) { delete static_cast<uint64_t*>(data); }
int counter_method(VKL_State* L, void* data, const char* method, TObject* args, int nargs,
                   TObject* result) {
  if (std::strcmp(method, "Add") != 0) return -1;
  if (nargs != 1 || !VKL_NumberCheck(&args[0])) return 0;
  auto* value = static_cast<uint64_t*>(data);
  *value += static_cast<uint64_t>(VKL_AsInt64(&args[0]));
  VKL_SetIntAuto(L, result, static_cast<int64_t>(*value));
  return 1;
}

int t_counter(VKL_State* L, TObject* args, int nargs, TObject* result) {
  VKL_Any* obj = VKL_NewAny(L, "t_counter_type", args, nargs);
  if (!obj) return 0;
  return VKL_SetTypeAny(L, result, obj);
}

}  // namespace

void register_test_handlers() {
  static const bool done = [] {
    vklL_register(nullptr, "t_divmod", t_divmod);
    vklL_register(nullptr, "t_label", t_label);
    vklL_register(nullptr, "t_reject", t_reject);
    vklL_register(nullptr, "t_count", t_count);
    vklL_register(nullptr, "t_callback", t_callback);
    vklL_register(nullptr, "t_tolerant", t_tolerant);
    vklL_register(nullptr, "t_stop", t_stop);
    vklL_register(nullptr, "t_adjacent", t_adjacent);
    vklL_register(nullptr, "t_counter", t_counter);
    VKL_RegisterAnyMan("t_counter_type",
                       VKL_NewAnyMan("t_counter_type", counter_create, counter_free,
                                     counter_method, 0, "type t_counter_type"));
    return true;
  }();
  (void)done;
}

}  // namespace vkl_test
