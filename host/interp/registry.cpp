// The process-wide function registry: lower-case names mapped to handlers, in registration
// order. Lookups take a shared lock and, for names up to kStackName bytes, allocate nothing.
#include <cstring>
#include <deque>
#include <mutex>
#include <shared_mutex>

#include "interp_internal.h"

namespace {

struct Function {
  std::string name;
  VKL_Handler handler;
  int flags1;
  int flags2;
};

class Registry {
 public:
  // 1 when registered (or replaced), 0 for a missing name or handler.
  int add(const char* name, VKL_Handler handler, int flags1, int flags2) {
    if (!name || !*name || !handler) return 0;
    std::string folded = vkl::interp::fold_case(name);
    std::unique_lock lock(mutex_);
    if (auto it = index_.find(folded); it != index_.end()) {
      Function& f = functions_[it->second];
      f.handler = handler;
      f.flags1 = flags1;
      f.flags2 = flags2;
      return 1;
    }
    index_.emplace(folded, functions_.size());
    functions_.push_back({std::move(folded), handler, flags1, flags2});
    return 1;
  }

  // Runs `use` on the entry of an already folded name under the shared lock.
  template <typename Use>
  bool with(std::string_view folded, Use use) const {
    std::shared_lock lock(mutex_);
    auto it = index_.find(folded);
    if (it == index_.end()) return false;
    use(functions_[it->second]);
    return true;
  }

  int64_t count() const {
    std::shared_lock lock(mutex_);
    return static_cast<int64_t>(functions_.size());
  }

  // Entries are never removed and a deque keeps their addresses, so a name stays valid.
  const char* name(int64_t index) const {
    std::shared_lock lock(mutex_);
    if (index < 0 || index >= static_cast<int64_t>(functions_.size())) return nullptr;
    return functions_[static_cast<size_t>(index)].name.c_str();
  }

 private:
  mutable std::shared_mutex mutex_;
  std::deque<Function> functions_;
  vkl::interp::NameMap<size_t> index_;
};

Registry& registry() {
  static Registry instance;
  return instance;
}

// Longest name folded into a stack buffer; longer ones take a heap copy.
constexpr size_t kStackName = 64;

// Folds `name` (`len` bytes, negative: up to the zero) and runs `use` on its entry.
template <typename Use>
bool with_function(const char* name, int64_t len, Use use) {
  if (!name) return false;
  const size_t n = len < 0 ? std::strlen(name) : static_cast<size_t>(len);
  const std::string_view raw(name, n);
  if (n <= kStackName) {
    char folded[kStackName];
    vkl::interp::fold_case_into(raw, folded);
    return registry().with(std::string_view(folded, n), use);
  }
  return registry().with(vkl::interp::fold_case(raw), use);
}

}  // namespace

namespace vkl::interp {

void fold_case_into(std::string_view in, char* out) {
  const auto len = static_cast<int64_t>(in.size());
  for (int64_t i = 0; i < len;) {
    const int64_t next = VKL_NextCharIndex(in.data(), len, i);
    const char c = in[i];
    out[i] = next == i + 1 && c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    for (++i; i < next; ++i) out[i] = in[i];
  }
}

std::string fold_case(std::string_view in) {
  std::string out(in.size(), '\0');
  fold_case_into(in, out.data());
  return out;
}

}  // namespace vkl::interp

extern "C" {

int registerTable(VKL_State*, int count, const VKL_FunctionEntry* table) {
  if (count <= 0 || !table) return 0;
  int registered = 0;
  for (int i = 0; i < count; ++i) {
    registered += registry().add(table[i].name, table[i].handler, 0, 0);
  }
  return registered;
}

int vklL_register(VKL_State*, const char* name, VKL_Handler handler) {
  return registry().add(name, handler, 0, 0);
}

int vklL_registerEx(VKL_State*, const char* name, VKL_Handler handler, int flags1, int flags2) {
  return registry().add(name, handler, flags1, flags2);
}

VKL_Handler VKL_FindFunction(const char* name, int64_t len) {
  VKL_Handler found = nullptr;
  with_function(name, len, [&](const Function& f) { found = f.handler; });
  return found;
}

int VKL_FunctionFlags(const char* name, int* flags1, int* flags2) {
  return with_function(name, -1, [&](const Function& f) {
           if (flags1) *flags1 = f.flags1;
           if (flags2) *flags2 = f.flags2;
         })
             ? 1
             : 0;
}

int64_t VKL_FunctionCount(void) { return registry().count(); }

const char* VKL_FunctionName(int64_t index) { return registry().name(index); }

}  // extern "C"
