// Host settings: one INI file read into memory, and the notifications that run when it is
// (re)loaded. Sections and keys are compared without regard to case; values are trimmed.
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <shared_mutex>

#include "interp_internal.h"

namespace {

using Section = vkl::interp::NameMap<std::string>;

struct Notification {
  VKL_IniNotifyFn notify;
  int arg;
};

std::string_view trim(std::string_view s) {
  constexpr std::string_view kSpace = " \t\r\n\f\v";
  const size_t first = s.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  const size_t last = s.find_last_not_of(kSpace);
  return s.substr(first, last - first + 1);
}

// Reads `[section]` headers and `key=value` lines; blank lines and lines starting with ';' or
// '#' are comments. Keys before the first section and lines without '=' are ignored; the first
// of two equal keys in a section wins.
vkl::interp::NameMap<Section> parse_ini(std::string_view text) {
  constexpr std::string_view kBom = "\xEF\xBB\xBF";
  if (text.substr(0, kBom.size()) == kBom) text.remove_prefix(kBom.size());
  vkl::interp::NameMap<Section> sections;
  Section* current = nullptr;
  while (!text.empty()) {
    const size_t eol = text.find('\n');
    const std::string_view line = trim(text.substr(0, eol));
    text.remove_prefix(eol == std::string_view::npos ? text.size() : eol + 1);
    if (line.empty() || line.front() == ';' || line.front() == '#') continue;
    if (line.front() == '[') {
      const size_t close = line.find(']');
      if (close == std::string_view::npos) continue;
      current = &sections[vkl::interp::fold_case(trim(line.substr(1, close - 1)))];
      continue;
    }
    const size_t eq = line.find('=');
    if (!current || eq == std::string_view::npos) continue;
    const std::string_view key = trim(line.substr(0, eq));
    if (key.empty()) continue;
    current->try_emplace(vkl::interp::fold_case(key), trim(line.substr(eq + 1)));
  }
  return sections;
}

// A whole value as an int: optional sign, then decimal digits or 0x and up to eight hex
// digits (taken as the 32 bits of the int). False for anything else or a decimal overflow.
bool parse_int(const std::string& value, int* out) {
  const char* s = value.c_str();
  const bool negative = *s == '-';
  if (*s == '-' || *s == '+') ++s;
  const bool hex = s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
  if (hex) s += 2;
  if (!std::isxdigit(static_cast<unsigned char>(*s))) return false;
  char* end = nullptr;
  errno = 0;
  const unsigned long long magnitude = std::strtoull(s, &end, hex ? 16 : 10);
  if (*end != '\0' || errno == ERANGE) return false;
  if (hex) {
    if (magnitude > 0xFFFFFFFFull) return false;
    const auto bits = static_cast<uint32_t>(magnitude);
    *out = static_cast<int>(negative ? 0u - bits : bits);
    return true;
  }
  if (magnitude > (negative ? 2147483648ull : 2147483647ull)) return false;
  const auto v = static_cast<long long>(magnitude);
  *out = static_cast<int>(negative ? -v : v);
  return true;
}

// The whole of a regular file; false when it is missing, not a regular file or unreadable.
bool read_file(const char* path, std::string* out) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return false;
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  out->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

class Settings {
 public:
  // Replaces the settings with the file's; false (empty settings) when it cannot be read.
  bool load(const char* path) {
    std::string text;
    const bool read = read_file(path, &text);
    auto sections = read ? parse_ini(text) : vkl::interp::NameMap<Section>{};
    std::unique_lock lock(mutex_);
    sections_ = std::move(sections);
    path_ = path;
    return read;
  }

  // Runs `use` on the value of a key under the shared lock; false when absent.
  template <typename Use>
  bool with_value(const char* section, const char* key, Use use) const {
    if (!section || !key) return false;
    const std::string folded_section = vkl::interp::fold_case(section);
    const std::string folded_key = vkl::interp::fold_case(key);
    std::shared_lock lock(mutex_);
    auto s = sections_.find(folded_section);
    if (s == sections_.end()) return false;
    auto k = s->second.find(folded_key);
    if (k == s->second.end()) return false;
    use(k->second);
    return true;
  }

  const char* path() const {
    std::shared_lock lock(mutex_);
    return path_.c_str();
  }

  int add_notification(VKL_IniNotifyFn notify, int arg) {
    std::unique_lock lock(mutex_);
    for (const Notification& n : notifications_) {
      if (n.notify == notify) return 1;
    }
    notifications_.push_back({notify, arg});
    return 1;
  }

  // A copy, so a notification may add another or read the settings while the list runs.
  std::vector<Notification> notifications() const {
    std::shared_lock lock(mutex_);
    return notifications_;
  }

 private:
  mutable std::shared_mutex mutex_;
  vkl::interp::NameMap<Section> sections_;
  std::string path_;
  std::vector<Notification> notifications_;
};

Settings& settings() {
  static Settings instance;
  return instance;
}

}  // namespace

extern "C" {

int VKL_LoadSettings(const char* path) {
  if (!path) return 0;
  const bool read = settings().load(path);
  VKL_NotifyIni(path, VKL_INI_SETTINGS);
  return read ? 1 : 0;
}

const char* VKL_SettingsPath(void) { return settings().path(); }

int AddIniNotify(VKL_IniNotifyFn notify, int arg) {
  return notify ? settings().add_notification(notify, arg) : 0;
}

void VKL_NotifyIni(const char* fileName, int kind) {
  const char* name = fileName ? fileName : "";
  for (const Notification& n : settings().notifications()) n.notify(name, kind);
}

int VKL_IsNotifyFileMgrIni(const char*, int kind) { return kind == VKL_INI_FILEMGR ? 1 : 0; }

int VKL_FileMgrGetPrivateProfileInt(const char* section, const char* key, int def) {
  int value = def;
  settings().with_value(section, key, [&](const std::string& text) {
    if (!parse_int(text, &value)) value = def;
  });
  return value;
}

const char* VKL_FileMgrGetPrivateProfileString(const char* section, const char* key,
                                               const char* def) {
  const char* value = def;
  settings().with_value(section, key, [&](const std::string& text) { value = text.c_str(); });
  return value;
}

}  // extern "C"
