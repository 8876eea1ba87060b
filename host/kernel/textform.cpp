// The text form of values: writing a value as the script's literal syntax, and parsing such a
// literal back into a cell.
//
// Failure policy: writing gives null (or 0) for a null cell, an unknown mode, a table that
// contains itself, or no memory. Parsing gives 0 for any text that is not exactly one literal,
// and leaves the target untouched. Both directions walk nested tables with an explicit stack,
// so nesting depth is bounded by memory, never by the thread's stack.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <exception>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "internal.h"

namespace {

constexpr int kDisplayMode = 0;
constexpr int kLiteralMode = 1;

bool fits_int32(int64_t v) {
  return v >= INT32_MIN && v <= INT32_MAX;
}

// ---- Writing ----

// A growable text in VKL_Malloc memory, zero-terminated when handed out. Growth doubles, so
// appending stays linear; running out of memory sticks as a failed state.
class TextBuffer {
 public:
  TextBuffer() = default;
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;
  ~TextBuffer() { VKL_Free(data_); }

  bool ok() const { return ok_; }
  const char* data() const { return data_; }
  size_t size() const { return size_; }

  void put(char c) {
    if (size_ + 1 >= capacity_ && !grow(1)) return;
    data_[size_++] = c;
  }
  void put(std::string_view s) {
    if (s.empty()) return;
    if (size_ + s.size() >= capacity_ && !grow(s.size())) return;
    memcpy(data_ + size_, s.data(), s.size());
    size_ += s.size();
  }
  // Room for `n` more bytes at the end, to be filled by the caller and committed with `commit`.
  char* room(size_t n) {
    if (size_ + n >= capacity_ && !grow(n)) return nullptr;
    return data_ + size_;
  }
  void commit(size_t n) { size_ += n; }
  void fail() { ok_ = false; }

  // Hands the zero-terminated text to the caller (VKL_Free it); null after a failure.
  char* release(int64_t* len) {
    if (!ok_ || !room(0)) return nullptr;
    data_[size_] = 0;
    if (len) *len = static_cast<int64_t>(size_);
    char* text = data_;
    data_ = nullptr;
    size_ = capacity_ = 0;
    return text;
  }

 private:
  // Keeps one byte spare for the terminating zero.
  bool grow(size_t more) {
    if (!ok_) return false;
    if (more > SIZE_MAX / 2 - size_) return ok_ = false;
    size_t wanted = std::max<size_t>(capacity_ * 2, 256);
    wanted = std::max(wanted, size_ + more + 1);
    void* p = VKL_Realloc(data_, wanted);
    if (!p) return ok_ = false;
    data_ = static_cast<char*>(p);
    capacity_ = wanted;
    return true;
  }

  char* data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
  bool ok_ = true;
};

constexpr char kHexDigits[] = "0123456789ABCDEF";

// Bytes a narrow literal cannot hold raw: control bytes, DEL, the quote and the backslash.
bool needs_escape(unsigned char c) {
  return c < 0x20 || c == 0x7F || c == '"' || c == '\\';
}

void put_escaped_byte(TextBuffer& out, unsigned char c) {
  switch (c) {
    case '\\':
      return out.put("\\\\");
    case '"':
      return out.put("\\\"");
    case '\n':
      return out.put("\\n");
    case '\r':
      return out.put("\\r");
    case '\t':
      return out.put("\\t");
    case 0:
      return out.put("\\0");
    default: {
      const char hex[4] = {'\\', 'x', kHexDigits[c >> 4], kHexDigits[c & 15]};
      return out.put(std::string_view(hex, 4));
    }
  }
}

// A quoted narrow text, byte by byte: a backslash is escaped even as the trail byte of a
// double-byte character, so the parser never needs to know the code page.
void put_quoted_bytes(TextBuffer& out, const char* s, int64_t len) {
  out.put('"');
  int64_t run = 0;
  for (int64_t i = 0; i < len; ++i) {
    const auto c = static_cast<unsigned char>(s[i]);
    if (!needs_escape(c)) continue;
    out.put(std::string_view(s + run, static_cast<size_t>(i - run)));
    put_escaped_byte(out, c);
    run = i + 1;
  }
  out.put(std::string_view(s + run, static_cast<size_t>(len - run)));
  out.put('"');
}

// L"...": printable ASCII raw, every other unit as \uXXXX, so lone surrogates survive.
void put_quoted_wide(TextBuffer& out, const vkl_wchar* s, int64_t len) {
  out.put("L\"");
  for (int64_t i = 0; i < len; ++i) {
    const vkl_wchar u = s[i];
    if (u == '"' || u == '\\') {
      const char escaped[2] = {'\\', static_cast<char>(u)};
      out.put(std::string_view(escaped, 2));
    } else if (u >= 0x20 && u < 0x7F) {
      out.put(static_cast<char>(u));
    } else {
      const char hex[6] = {'\\',
                           'u',
                           kHexDigits[u >> 12],
                           kHexDigits[(u >> 8) & 15],
                           kHexDigits[(u >> 4) & 15],
                           kHexDigits[u & 15]};
      out.put(std::string_view(hex, 6));
    }
  }
  out.put('"');
}

template <class Int>
void put_integer(TextBuffer& out, Int v) {
  char buf[24];
  const auto r = std::to_chars(buf, buf + sizeof buf, v);
  out.put(std::string_view(buf, static_cast<size_t>(r.ptr - buf)));
}

// An int64 within 32 bits carries the suffix L so that it reads back as an int64.
void put_int64(TextBuffer& out, int64_t v) {
  put_integer(out, v);
  if (fits_int32(v)) out.put('L');
}

// The shortest text that reads back to the same double; ".0" marks an integral value as real.
void put_real(TextBuffer& out, double v) {
  if (std::isnan(v)) return out.put("nan");
  if (std::isinf(v)) return out.put(v < 0 ? "-inf" : "inf");
  char buf[40];
  const auto r = std::to_chars(buf, buf + sizeof buf, v);
  const std::string_view text(buf, static_cast<size_t>(r.ptr - buf));
  out.put(text);
  if (text.find_first_of(".eE") == std::string_view::npos) out.put(".0");
}

const char* fixed_type_name(int type) {
  switch (type) {
    case VKL_FM_INT32:
      return "int32";
    case VKL_FM_DOUBLE:
      return "double";
    case VKL_FM_CELLS:
      return "cells";
    case VKL_FM_INT64A:
      return "int64a";
    case VKL_FM_INT64:
      return "int64";
    default:
      return "unknown";
  }
}

void put_dimensions(TextBuffer& out, const int64_t* dims, int ndims) {
  for (int i = 0; i < ndims; ++i) {
    if (i > 0) out.put('x');
    put_integer(out, dims[i]);
  }
}

void put_matrix_name(TextBuffer& out, const VKL_Matrix* m) {
  out.put("<matrix");
  if (m) {
    const int64_t dims[2] = {VKL_MatrixRows(m), VKL_MatrixCols(m)};
    out.put(' ');
    put_dimensions(out, dims, 2);
  }
  out.put('>');
}

void put_fixed_matrix_name(TextBuffer& out, const VKL_FixedMatrix* fm) {
  out.put("<fixedmatrix");
  if (fm) {
    std::vector<int64_t> dims(static_cast<size_t>(std::max(VKL_FMGetMaxDims(), 1)));
    const int ndims = std::clamp(VKL_FMGetDims(fm, dims.data()), 0, static_cast<int>(dims.size()));
    if (ndims > 0) {
      out.put(' ');
      put_dimensions(out, dims.data(), ndims);
    }
    out.put(' ');
    out.put(fixed_type_name(VKL_FMGetType(fm)));
  }
  out.put('>');
}

// Boxes are named by kind; the generic object kinds add the name of their box type.
void put_box_name(TextBuffer& out, const TObject* o) {
  const char* kind = "object";
  bool with_type = false;
  switch (o->tag) {
    case VKL_TGRAPH:
      kind = "graph";
      break;
    case VKL_TGRAPHGROUP:
      kind = "graphgroup";
      break;
    case VKL_TFUNCTION:
      kind = "function";
      break;
    case VKL_TEXPRESSION:
      kind = "expression";
      break;
    case VKL_TDEFERRED:
      kind = "deferred";
      break;
    case VKL_TREF:
      kind = "reference";
      break;
    default:
      with_type = true;
      break;
  }
  out.put('<');
  out.put(kind);
  const auto* box = static_cast<const VKL_Box*>(vkl_ptr(o));
  if (with_type && box && box->type && box->type->name && box->type->name[0]) {
    out.put(' ');
    out.put(box->type->name);
  }
  out.put('>');
}

// The cell a value is written as: the target of a reference, or the value of a fixed-matrix
// element (read into `scratch` for the numeric element types).
const TObject* written_as(const TObject* o, TObject* scratch) {
  o = vkl_follow(o);
  if (o->tag != VKL_TFMELEMENT || !vkl_ptr(o)) return o;
  const auto* fm = static_cast<const VKL_FixedMatrix*>(vkl_ptr(o));
  const int64_t offset = vkl_elem_offset(o);
  vkl_put_nil(scratch);
  switch (VKL_FMGetType(fm)) {
    case VKL_FM_CELLS: {
      const auto* cell = static_cast<const TObject*>(VKL_FMGetBufferByOffset(fm, offset));
      return cell ? cell : scratch;
    }
    case VKL_FM_DOUBLE:
      vkl_put_real(scratch, VKL_FMGetDouble(fm, offset));
      break;
    case VKL_FM_INT32:
      vkl_put_int(scratch, static_cast<int32_t>(VKL_FMGetInt64(fm, offset)));
      break;
    default:
      vkl_put_int64(scratch, VKL_FMGetInt64(fm, offset));
      break;
  }
  return scratch;
}

// Writes values into a TextBuffer. Tables are walked with an explicit stack of open tables;
// a table met again while it is still open is a cycle and fails the whole text.
class Writer {
 public:
  explicit Writer(TextBuffer& out) : out_(out) {}

  bool write(const TObject* o, int mode) {
    TObject scratch;
    o = written_as(o, &scratch);
    if (mode == kDisplayMode && put_bare_text(o)) return out_.ok();
    if (!open_value(o)) return false;
    while (!open_.empty() && out_.ok()) {
      if (!write_next_entry()) return false;
    }
    return out_.ok();
  }

 private:
  struct OpenTable {
    const VKL_Table* table;
    int64_t position;    // next raw position to look at
    int64_t positions;   // raw positions of the table
    int64_t next_index;  // key the next positional entry must have
    bool keyed;          // positional entries are over
    bool any;            // an entry was written
  };

  // Display form of a string at the top level: its text, a wide one in the host code page.
  bool put_bare_text(const TObject* o) {
    if (vkl_is_string_tag(o->tag)) {
      out_.put(std::string_view(VKL_AsString(o), static_cast<size_t>(VKL_StringLen(o))));
      return true;
    }
    if (o->tag != VKL_TWSTRING) return false;
    const vkl_wchar* w = VKL_AsWString(o);
    const int64_t units = VKL_WStringLen(o);
    const int64_t bytes = VKL_WideToMultiByte(0, w, units, nullptr, 0);
    char* dst = bytes >= 0 ? out_.room(static_cast<size_t>(bytes)) : nullptr;
    if (!dst || VKL_WideToMultiByte(0, w, units, dst, bytes) != bytes) {
      out_.fail();
    } else {
      out_.commit(static_cast<size_t>(bytes));
    }
    return true;
  }

  // Writes the next entry of the innermost open table, or closes it.
  bool write_next_entry() {
    OpenTable& top = open_.back();
    const TObject* key = nullptr;
    const TObject* value = nullptr;
    while (top.position < top.positions && !value) {
      value = VKL_HashRawGetN(top.table, top.position++, &key);
    }
    if (!value) {
      out_.put(')');
      in_progress_.erase(top.table);
      open_.pop_back();
      return true;
    }
    if (top.any) out_.put(", ");
    top.any = true;
    if (!top.keyed && key && key->tag == VKL_TINT && vkl_int(key) == top.next_index) {
      ++top.next_index;
    } else {
      top.keyed = true;
      if (key) put_scalar(key);
      out_.put(": ");
    }
    TObject scratch;
    return open_value(written_as(value, &scratch));
  }

  // Writes a scalar, or opens a table (its entries follow from the loop in `write`).
  bool open_value(const TObject* o) {
    if (o->tag != VKL_TTABLE || !vkl_ptr(o)) {
      put_scalar(o);
      return true;
    }
    const auto* t = static_cast<const VKL_Table*>(vkl_ptr(o));
    if (!in_progress_.insert(t).second) return false;
    out_.put("array(");
    open_.push_back({t, 0, VKL_HashRawCount(t), 0, false, false});
    return true;
  }

  void put_scalar(const TObject* o) {
    switch (o->tag) {
      case VKL_TINT:
        return put_integer(out_, vkl_int(o));
      case VKL_TINT64:
        return put_int64(out_, vkl_int64(o));
      case VKL_TREAL:
        return put_real(out_, vkl_real(o));
      case VKL_TSTRING:
      case VKL_TSTRING2:
        return put_quoted_bytes(out_, VKL_AsString(o), VKL_StringLen(o));
      case VKL_TWSTRING:
        return put_quoted_wide(out_, VKL_AsWString(o), VKL_WStringLen(o));
      case VKL_TBINARY:
        out_.put('b');
        return put_quoted_bytes(out_, static_cast<const char*>(vkl_ptr(o)),
                                vkl_ptr(o) ? std::max(vkl_len(o), 0) : 0);
      case VKL_TNIL:
        return out_.put("nil");
      case VKL_TNONE:
        out_.put("none(");
        put_integer(out_, vkl_none_code(o));
        return out_.put(')');
      case VKL_TTABLE:  // a table cell without a table
        return out_.put("array()");
      case VKL_TMATRIX:
        return put_matrix_name(out_, static_cast<const VKL_Matrix*>(vkl_ptr(o)));
      case VKL_TFIXEDMATRIX:
        return put_fixed_matrix_name(out_, static_cast<const VKL_FixedMatrix*>(vkl_ptr(o)));
      case VKL_TFMELEMENT:
        return out_.put("<fixedmatrix element>");
      default:
        if (vkl_is_box_tag(o->tag)) return put_box_name(out_, o);
        out_.put("<kind ");
        put_integer(out_, static_cast<int>(o->tag));
        return out_.put('>');
    }
  }

  TextBuffer& out_;
  std::vector<OpenTable> open_;
  std::unordered_set<const VKL_Table*> in_progress_;
};

// The text of a value in a fresh VKL_Malloc block, or null.
char* value_text(const TObject* o, int mode, int64_t* len) {
  if (!o || (mode != kDisplayMode && mode != kLiteralMode)) return nullptr;
  try {
    TextBuffer out;
    Writer writer(out);
    if (!writer.write(o, mode)) return nullptr;
    return out.release(len);
  } catch (const std::exception&) {  // bookkeeping of the walk ran out of memory
    return nullptr;
  }
}

// ---- Parsing ----

bool is_space(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_word_char(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || is_digit(c);
}
char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
int hex_value(char c) {
  if (is_digit(c)) return c - '0';
  c = lower(c);
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// Keywords compare without regard to case, as the script language's identifiers do.
bool same_word(std::string_view word, std::string_view keyword) {
  if (word.size() != keyword.size()) return false;
  for (size_t i = 0; i < word.size(); ++i) {
    if (lower(word[i]) != keyword[i]) return false;
  }
  return true;
}

// Table keys a literal may give: integers, int64s and narrow strings.
bool is_key_kind(const TObject* o) {
  return o->tag == VKL_TINT || o->tag == VKL_TINT64 || vkl_is_string_tag(o->tag);
}

// A cell released when the scope ends, unless its content was moved out.
class TempCell {
 public:
  explicit TempCell(VKL_State* L) : L_(L) { vkl_put_nil(&cell_); }
  TempCell(const TempCell&) = delete;
  TempCell& operator=(const TempCell&) = delete;
  ~TempCell() { vkl::release(L_, &cell_); }
  TObject* get() { return &cell_; }
  // Moves the content into `slot`, releasing what the slot held.
  void move_to(TObject* slot) {
    vkl::replace_cell(L_, slot, &cell_);
  }

 private:
  VKL_State* L_;
  TObject cell_;
};

// Parses one literal. Nested tables are built in place: a new table goes into its parent's
// slot at once and is pushed on the stack of open tables, so the parser never recurses.
class Parser {
 public:
  Parser(VKL_State* L, const char* text, size_t len) : L_(L), p_(text), end_(text + len) {}

  // Builds the value into `out` (a nil cell); on failure `out` may hold a partial value.
  bool parse(TObject* out) {
    skip_space();
    if (!parse_value(out)) return false;
    while (!open_.empty()) {
      if (!parse_next_entry()) return false;
    }
    skip_space();
    return p_ == end_;
  }

 private:
  struct OpenTable {
    VKL_Table* table;
    int64_t next_index;  // key of the next positional entry
    bool any;            // an entry was read
  };

  void skip_space() {
    while (p_ < end_ && is_space(*p_)) ++p_;
  }
  bool eat(char c) {
    if (p_ == end_ || *p_ != c) return false;
    ++p_;
    return true;
  }
  std::string_view peek_word() const {
    const char* q = p_;
    while (q < end_ && is_word_char(*q)) ++q;
    return {p_, static_cast<size_t>(q - p_)};
  }

  // Consumes `array` and its opening parenthesis when they come next.
  bool eat_table_start() {
    const std::string_view word = peek_word();
    if (!same_word(word, "array")) return false;
    const char* q = p_ + word.size();
    while (q < end_ && is_space(*q)) ++q;
    if (q == end_ || *q != '(') return false;
    p_ = q + 1;
    return true;
  }

  // A value into the nil-or-replaceable cell `slot`: a scalar, or a new table left open.
  bool parse_value(TObject* slot) {
    if (eat_table_start()) {
      VKL_Table* t = VKL_NewHash(L_, slot);
      if (!t) return false;
      open_.push_back({t, 0, false});
      return true;
    }
    TempCell value(L_);
    if (!parse_scalar(value.get())) return false;
    value.move_to(slot);
    return true;
  }

  // Reads `)`, or one entry of the innermost open table with the separator before it.
  bool parse_next_entry() {
    OpenTable& top = open_.back();
    skip_space();
    if (eat(')')) {
      open_.pop_back();
      return true;
    }
    if (top.any) {
      if (!eat(',')) return false;
      skip_space();
    }
    top.any = true;
    VKL_Table* t = top.table;
    if (eat_table_start()) {  // a table is never a key: a positional entry
      TObject* slot = positional_slot(top);
      return slot && parse_nested_table(slot);
    }
    TempCell first(L_);
    if (!parse_scalar(first.get())) return false;
    skip_space();
    if (!eat(':')) {
      TObject* slot = positional_slot(top);
      if (!slot) return false;
      first.move_to(slot);
      return true;
    }
    if (!is_key_kind(first.get())) return false;
    skip_space();
    if (eat_table_start()) {
      TObject* slot = VKL_HashSet(L_, t, first.get());
      return slot && parse_nested_table(slot);
    }
    TempCell value(L_);
    if (!parse_scalar(value.get())) return false;
    TObject* slot = VKL_HashSet(L_, t, first.get());
    if (!slot) return false;
    value.move_to(slot);
    return true;
  }

  TObject* positional_slot(OpenTable& top) {
    const int64_t key = top.next_index++;
    return fits_int32(key) ? VKL_HashSetInt(L_, top.table, static_cast<int32_t>(key))
                           : VKL_HashSetInt64(L_, top.table, key);
  }

  bool parse_nested_table(TObject* slot) {
    VKL_Table* t = VKL_NewHash(L_, slot);
    if (!t) return false;
    open_.push_back({t, 0, false});
    return true;
  }

  bool parse_scalar(TObject* out) {
    if (p_ == end_) return false;
    const char c = *p_;
    if (c == '"' || c == '\'') return parse_narrow(out, VKL_TSTRING);
    if (is_digit(c) || c == '-' || c == '+' || c == '.') return parse_number(out);
    const std::string_view word = peek_word();
    if (word.empty()) return false;
    const char* after = p_ + word.size();
    const bool quote_follows = after < end_ && (*after == '"' || *after == '\'');
    if (quote_follows && same_word(word, "l")) {
      ++p_;
      return parse_wide(out);
    }
    if (quote_follows && same_word(word, "b")) {
      ++p_;
      return parse_narrow(out, VKL_TBINARY);
    }
    p_ = after;
    if (same_word(word, "nil")) {
      vkl_put_nil(out);
      return true;
    }
    if (same_word(word, "none")) return parse_none_code(out);
    if (same_word(word, "inf")) {
      vkl_put_real(out, HUGE_VAL);
      return true;
    }
    if (same_word(word, "nan")) {
      vkl_put_real(out, std::nan(""));
      return true;
    }
    return false;
  }

  // none(code) after the word none.
  bool parse_none_code(TObject* out) {
    skip_space();
    if (!eat('(')) return false;
    skip_space();
    TempCell code(L_);
    if (!parse_number(code.get()) || code.get()->tag != VKL_TINT) return false;
    skip_space();
    if (!eat(')')) return false;
    vkl_put_none(out, vkl_int(code.get()));
    return true;
  }

  // Integers (suffix L: int64), reals, and signed inf / nan.
  bool parse_number(TObject* out) {
    if (p_ == end_) return false;
    bool negative = false;
    if (*p_ == '+' || *p_ == '-') negative = *p_++ == '-';
    const std::string_view word = peek_word();
    if (same_word(word, "inf") || same_word(word, "nan")) {
      p_ += word.size();
      const double v = lower(word[0]) == 'i' ? HUGE_VAL : std::nan("");
      vkl_put_real(out, negative ? -v : v);
      return true;
    }
    const char* digits = p_;
    int64_t int_digits = 0, frac_digits = 0;
    while (p_ < end_ && is_digit(*p_)) ++p_, ++int_digits;
    bool real = false;
    if (p_ < end_ && *p_ == '.') {
      real = true;
      ++p_;
      while (p_ < end_ && is_digit(*p_)) ++p_, ++frac_digits;
    }
    if (int_digits + frac_digits == 0) return false;
    int64_t exponent = 0;
    if (p_ < end_ && (*p_ == 'e' || *p_ == 'E')) {
      real = true;
      if (!read_exponent(&exponent)) return false;
    }
    // from_chars reads a leading minus but no plus: start at the sign only for a minus.
    const char* start = negative ? digits - 1 : digits;
    if (real) return read_real(out, start, int_digits, exponent);
    int64_t v = 0;
    const auto r = std::from_chars(start, p_, v);
    if (r.ec != std::errc() || r.ptr != p_) return false;
    if (p_ < end_ && (*p_ == 'L' || *p_ == 'l')) {
      ++p_;
      vkl_put_int64(out, v);
    } else if (fits_int32(v)) {
      vkl_put_int(out, static_cast<int32_t>(v));
    } else {
      vkl_put_int64(out, v);
    }
    return true;
  }

  // The exponent of a real, saturated far beyond any double's range.
  bool read_exponent(int64_t* exponent) {
    ++p_;
    bool negative = false;
    if (p_ < end_ && (*p_ == '+' || *p_ == '-')) negative = *p_++ == '-';
    if (p_ == end_ || !is_digit(*p_)) return false;
    int64_t e = 0;
    for (; p_ < end_ && is_digit(*p_); ++p_) e = std::min<int64_t>(e * 10 + (*p_ - '0'), 1 << 30);
    *exponent = negative ? -e : e;
    return true;
  }

  // A real too large for a double becomes an infinity and one too small a zero, as in C.
  bool read_real(TObject* out, const char* start, int64_t int_digits, int64_t exponent) {
    double v = 0;
    const auto r = std::from_chars(start, p_, v);
    if (r.ptr != p_) return false;
    if (r.ec == std::errc::result_out_of_range) {
      const double magnitude =
          decimal_magnitude(start + (*start == '-'), int_digits, exponent) >= 0 ? HUGE_VAL : 0.0;
      v = *start == '-' ? -magnitude : magnitude;
    } else if (r.ec != std::errc()) {
      return false;
    }
    vkl_put_real(out, v);
    return true;
  }

  // The power of ten of the leading significant digit of a mantissa with a nonzero digit.
  static int64_t decimal_magnitude(const char* digits, int64_t int_digits, int64_t exponent) {
    int64_t position = 0;  // digits before the first nonzero one, the point not counted
    for (const char* q = digits; *q == '0' || *q == '.'; ++q) {
      if (*q == '0') ++position;
    }
    return int_digits - 1 - position + exponent;
  }

  // A quoted narrow text or binary, escapes read byte by byte.
  bool parse_narrow(TObject* out, int tag) {
    bytes_.clear();
    if (!read_quoted([this](const char* run, size_t n) { bytes_.append(run, n); },
                     [this](char32_t unit) { bytes_.push_back(static_cast<char>(unit)); }, false)) {
      return false;
    }
    const auto len = static_cast<int64_t>(bytes_.size());
    if (tag == VKL_TBINARY) return VKL_SetBin(L_, out, bytes_.data(), len) != 0;
    return vkl::put_string(L_, out, bytes_.data(), len, tag);
  }

  // L"...": \uXXXX units, raw bytes converted from the host code page.
  bool parse_wide(TObject* out) {
    units_.clear();
    bool converted = true;
    if (!read_quoted(
            [this, &converted](const char* run, size_t n) {
              converted = converted && append_converted(run, n);
            },
            [this](char32_t unit) { units_.push_back(static_cast<vkl_wchar>(unit)); }, true) ||
        !converted) {
      return false;
    }
    return VKL_SetWStringEx(L_, out, units_.data(), static_cast<int64_t>(units_.size())) != 0;
  }

  bool append_converted(const char* run, size_t n) {
    const bool ascii =
        std::all_of(run, run + n, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (ascii) {
      units_.append(run, run + n);
      return true;
    }
    const auto len = static_cast<int64_t>(n);
    const int64_t units = VKL_MultiByteToWide(0, run, len, nullptr, 0);
    if (units < 0) return false;
    const size_t old = units_.size();
    units_.resize(old + static_cast<size_t>(units));
    return VKL_MultiByteToWide(0, run, len, units_.data() + old, units) == units;
  }

  // Reads a quoted text from its opening quote: raw runs go to `raw`, escaped units to `unit`.
  // \u is read only when `wide`.
  template <class Raw, class Unit>
  bool read_quoted(Raw raw, Unit unit, bool wide) {
    const char quote = *p_++;
    for (;;) {
      const char* run = p_;
      while (p_ < end_ && *p_ != quote && *p_ != '\\') ++p_;
      if (p_ > run) raw(run, static_cast<size_t>(p_ - run));
      if (p_ == end_) return false;
      if (*p_++ == quote) return true;
      if (p_ == end_) return false;
      const char c = *p_++;
      char32_t value = 0;
      switch (c) {
        case 'n':
          value = '\n';
          break;
        case 'r':
          value = '\r';
          break;
        case 't':
          value = '\t';
          break;
        case '0':
          value = 0;
          break;
        case 'a':
          value = '\a';
          break;
        case 'b':
          value = '\b';
          break;
        case 'f':
          value = '\f';
          break;
        case 'v':
          value = '\v';
          break;
        case '\\':
        case '"':
        case '\'':
          value = static_cast<unsigned char>(c);
          break;
        case 'x':
          if (!read_hex(2, &value)) return false;
          break;
        case 'u':
          if (!wide || !read_hex(4, &value)) return false;
          break;
        default:
          return false;
      }
      unit(value);
    }
  }

  bool read_hex(int count, char32_t* value) {
    if (end_ - p_ < count) return false;
    char32_t v = 0;
    for (int i = 0; i < count; ++i) {
      const int h = hex_value(*p_++);
      if (h < 0) return false;
      v = v * 16 + static_cast<char32_t>(h);
    }
    *value = v;
    return true;
  }

  VKL_State* L_;
  const char* p_;
  const char* end_;
  std::vector<OpenTable> open_;
  std::string bytes_;
  std::u16string units_;
};

int parse_text(VKL_State* L, const char* text, size_t len, TObject* target) {
  TObject fresh;
  vkl_put_nil(&fresh);
  bool ok = false;
  try {
    Parser parser(L, text, len);
    ok = parser.parse(&fresh);
  } catch (const std::exception&) {  // the parser's scratch buffers ran out of memory
    ok = false;
  }
  if (!ok) {
    vkl::release(L, &fresh);
    return 0;
  }
  vkl::replace_cell(L, target, &fresh);
  return 1;
}

}  // namespace

extern "C" {

char* VKL_ObjToStr(VKL_State*, const TObject* o, int mode) {
  return value_text(o, mode, nullptr);
}

char* VKL_ObjToStrEx(VKL_State*, const TObject* o, int mode, int64_t* len) {
  return value_text(o, mode, len);
}

int VKL_ObjToStrm(VKL_State*, const TObject* o, VKL_Stream* s, int mode) {
  if (!s) return 0;
  int64_t len = 0;
  char* text = value_text(o, mode, &len);
  if (!text) return 0;
  const bool written = VKL_StreamWrite(s, text, len) == len;
  VKL_Free(text);
  return written ? 1 : 0;
}

int VKL_StrToObj(VKL_State* L, const char* text, TObject* target) {
  if (!text || !target) return 0;
  return parse_text(L, text, strlen(text), target);
}

int VKL_MemToObj(VKL_State* L, const void* text, int64_t len, TObject* target) {
  if (!text || !target || len < 0) return 0;
  return parse_text(L, static_cast<const char*>(text), static_cast<size_t>(len), target);
}

}  // extern "C"
