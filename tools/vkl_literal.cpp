// vkl-literal FILE: reads one value literal from a UTF-8 file and prints its display form on one
// line and its literal form on the next, in UTF-8.
//
// Script source is UTF-8 while the kernel's narrow text is in the host code page, so the file
// is converted to the host code page before parsing and the printed texts back to UTF-8, both
// through the kernel's own code-page conversions.
#include <vkl/kernel.h>

#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

namespace {

constexpr int kUtf8 = 65001;
constexpr int kHostCodePage = 0;

// Text from one code page to another through UTF-16; nothing for an unknown code page.
std::optional<std::string> recode(const std::string& text, int from, int to) {
  const auto len = static_cast<int64_t>(text.size());
  const int64_t units = VKL_MultiByteToWide(from, text.data(), len, nullptr, 0);
  if (units < 0) return std::nullopt;
  std::u16string wide(static_cast<size_t>(units), u'\0');
  if (VKL_MultiByteToWide(from, text.data(), len, wide.data(), units) != units) {
    return std::nullopt;
  }
  const int64_t bytes = VKL_WideToMultiByte(to, wide.data(), units, nullptr, 0);
  if (bytes < 0) return std::nullopt;
  std::string out(static_cast<size_t>(bytes), '\0');
  if (VKL_WideToMultiByte(to, wide.data(), units, out.data(), bytes) != bytes) {
    return std::nullopt;
  }
  return out;
}

std::optional<std::string> read_file(const char* path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad()) return std::nullopt;
  std::string text = std::move(content).str();
  if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);  // a UTF-8 byte order mark
  return text;
}

// Prints one text form of the value as a UTF-8 line; false when it cannot be written.
bool print_form(VKL_State* L, const TObject* value, int mode) {
  int64_t len = 0;
  char* text = VKL_ObjToStrEx(L, value, mode, &len);
  if (!text) return false;
  const auto utf8 = recode(std::string(text, static_cast<size_t>(len)), kHostCodePage, kUtf8);
  VKL_Free(text);
  if (!utf8) return false;
  std::fwrite(utf8->data(), 1, utf8->size(), stdout);
  std::fputc('\n', stdout);
  return true;
}

int run(const char* path) {
  const auto source = read_file(path);
  if (!source) {
    std::fprintf(stderr, "vkl-literal: cannot read %s\n", path);
    return 1;
  }
  const auto host_text = recode(*source, kUtf8, kHostCodePage);
  if (!host_text) {
    std::fprintf(stderr, "vkl-literal: cannot convert %s to the host code page\n", path);
    return 1;
  }
  VKL_State* L = VKL_NewState();
  if (!L) {
    std::fprintf(stderr, "vkl-literal: out of memory\n");
    return 1;
  }
  TObject value;
  vkl_put_nil(&value);
  int status = 0;
  if (!VKL_MemToObj(L, host_text->data(), static_cast<int64_t>(host_text->size()), &value)) {
    std::fprintf(stderr, "vkl-literal: %s does not hold exactly one value literal\n", path);
    status = 1;
  } else if (!print_form(L, &value, 0) || !print_form(L, &value, 1)) {
    std::fprintf(stderr, "vkl-literal: the value in %s cannot be written as text\n", path);
    status = 1;
  }
  VKL_FreeObjectContent(L, &value);
  VKL_FreeState(L);
  if (std::fflush(stdout) != 0) {
    std::fprintf(stderr, "vkl-literal: cannot write the output\n");
    status = 1;
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: vkl-literal FILE\n");
    return 2;
  }
  return run(argv[1]);
}
