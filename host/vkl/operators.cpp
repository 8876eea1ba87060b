#include "host/vkl/operators.h"

#include <cmath>
#include <cstring>
#include <string_view>

#include "host/vkl/text_codec.h"

namespace vkl::lang {
namespace {

struct Number {
  bool integer;
  int64_t i;
  double r;
};

bool read_number(const TObject* o, Number* n) {
  switch (o->tag) {
    case VKL_TINT:
      *n = {true, vkl_int(o), 0};
      return true;
    case VKL_TINT64:
      *n = {true, vkl_int64(o), 0};
      return true;
    case VKL_TREAL:
      *n = {false, 0, vkl_real(o)};
      return true;
    case VKL_TFMELEMENT:
      *n = {false, 0, VKL_AsDouble(o)};
      return true;
    default:
      return false;
  }
}

double as_real(const Number& n) { return n.integer ? static_cast<double>(n.i) : n.r; }

int64_t wrap_add(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
int64_t wrap_sub(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}
int64_t wrap_mul(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}

const char* op_text(BinaryOp op) {
  switch (op) {
    case BinaryOp::Add: return "+";
    case BinaryOp::Sub: return "-";
    case BinaryOp::Mul: return "*";
    case BinaryOp::Div: return "/";
    case BinaryOp::IntDiv: return "div";
    case BinaryOp::Mod: return "mod";
    case BinaryOp::Eq: return "=";
    case BinaryOp::Ne: return "<>";
    case BinaryOp::Lt: return "<";
    case BinaryOp::Gt: return ">";
    case BinaryOp::Le: return "<=";
    case BinaryOp::Ge: return ">=";
  }
  return "?";
}

std::string bad_operands(BinaryOp op, const TObject* a, const TObject* b) {
  return std::string("cannot apply ") + op_text(op) + " to " + kind_name(a) + " and " +
         kind_name(b);
}

std::string arithmetic(BinaryOp op, const Number& x, const Number& y, TObject* out) {
  if (x.integer && y.integer) {
    switch (op) {
      case BinaryOp::Add: put_integer(out, wrap_add(x.i, y.i)); return {};
      case BinaryOp::Sub: put_integer(out, wrap_sub(x.i, y.i)); return {};
      case BinaryOp::Mul: put_integer(out, wrap_mul(x.i, y.i)); return {};
      case BinaryOp::IntDiv:
      case BinaryOp::Mod:
        if (y.i == 0) return "division by zero";
        if (y.i == -1) {  // INT64_MIN div -1 overflows: wrap like the other operations
          put_integer(out, op == BinaryOp::IntDiv ? wrap_sub(0, x.i) : 0);
          return {};
        }
        put_integer(out, op == BinaryOp::IntDiv ? x.i / y.i : x.i % y.i);
        return {};
      default:
        break;
    }
  }
  const double a = as_real(x), b = as_real(y);
  double r = 0;
  switch (op) {
    case BinaryOp::Add: r = a + b; break;
    case BinaryOp::Sub: r = a - b; break;
    case BinaryOp::Mul: r = a * b; break;
    case BinaryOp::Div: r = a / b; break;
    case BinaryOp::IntDiv: r = std::trunc(a / b); break;
    case BinaryOp::Mod: r = std::fmod(a, b); break;
    default: break;
  }
  vkl_put_real(out, r);
  return {};
}

// -1, 0 or 1; 2 when unordered (a NaN).
int compare_numbers(const Number& x, const Number& y) {
  if (x.integer && y.integer) return x.i < y.i ? -1 : x.i > y.i ? 1 : 0;
  const double a = as_real(x), b = as_real(y);
  if (std::isnan(a) || std::isnan(b)) return 2;
  return a < b ? -1 : a > b ? 1 : 0;
}

bool is_text(const TObject* o) { return vkl_is_string_tag(o->tag) || o->tag == VKL_TWSTRING; }

std::string_view narrow_view(const TObject* o) {
  return {VKL_AsString(o), static_cast<size_t>(VKL_StringLen(o))};
}

std::u16string_view wide_view(const TObject* o) {
  return {VKL_AsWString(o), static_cast<size_t>(VKL_WStringLen(o))};
}

// UTF-16 of a narrow or wide string cell.
std::u16string wide_of(const TObject* o) {
  return o->tag == VKL_TWSTRING ? std::u16string(wide_view(o)) : host_to_wide(narrow_view(o));
}

int compare_texts(const TObject* a, const TObject* b) {
  int c;
  if (a->tag != VKL_TWSTRING && b->tag != VKL_TWSTRING) {
    const std::string_view x = narrow_view(a), y = narrow_view(b);
    c = x.compare(y);  // bytewise, as unsigned chars
  } else {
    c = wide_of(a).compare(wide_of(b));
  }
  return c < 0 ? -1 : c > 0 ? 1 : 0;
}

std::string join(VKL_State* L, const TObject* a, const TObject* b, TObject* out) {
  if (vkl_is_string_tag(a->tag) && vkl_is_string_tag(b->tag)) {
    const std::string_view x = narrow_view(a), y = narrow_view(b);
    if (!VKL_SetStringEx(L, out, nullptr, static_cast<int64_t>(x.size() + y.size())))
      return "string too long";
    char* p = static_cast<char*>(vkl_ptr(out));
    std::memcpy(p, x.data(), x.size());
    std::memcpy(p + x.size(), y.data(), y.size());
    return {};
  }
  if (a->tag == VKL_TBINARY && b->tag == VKL_TBINARY) {
    const auto la = static_cast<size_t>(vkl_len(a)), lb = static_cast<size_t>(vkl_len(b));
    if (!VKL_SetBin(L, out, nullptr, static_cast<int64_t>(la + lb))) return "binary too long";
    char* p = static_cast<char*>(vkl_ptr(out));
    std::memcpy(p, vkl_ptr(a), la);
    std::memcpy(p + la, vkl_ptr(b), lb);
    return {};
  }
  const std::u16string w = wide_of(a) + wide_of(b);
  if (!VKL_SetWStringEx(L, out, w.data(), static_cast<int64_t>(w.size())))
    return "string too long";
  return {};
}

}  // namespace

std::string kind_name(const TObject* o) {
  switch (o->tag) {
    case VKL_TINT: return "integer";
    case VKL_TREAL: return "real";
    case VKL_TSTRING:
    case VKL_TSTRING2: return "string";
    case VKL_TTABLE: return "table";
    case VKL_TNIL: return "nil";
    case VKL_TBINARY: return "binary";
    case VKL_TFUNCTION: return "function";
    case VKL_TMATRIX: return "matrix";
    case VKL_TINT64: return "int64";
    case VKL_TWSTRING: return "wide string";
    case VKL_TFIXEDMATRIX: return "fixed matrix";
    case VKL_TNONE: return "none";
    case VKL_TOBJECT: return "object";
    default: return "kind " + std::to_string(o->tag);
  }
}

std::string apply_binary(VKL_State* L, BinaryOp op, const TObject* a, const TObject* b,
                         TObject* out) {
  a = vkl_follow(a);
  b = vkl_follow(b);
  Number x, y;
  const bool numbers = read_number(a, &x) && read_number(b, &y);
  switch (op) {
    case BinaryOp::Add:
      if (numbers) return arithmetic(op, x, y, out);
      if ((is_text(a) && is_text(b)) || (a->tag == VKL_TBINARY && b->tag == VKL_TBINARY))
        return join(L, a, b, out);
      return bad_operands(op, a, b);
    case BinaryOp::Sub:
    case BinaryOp::Mul:
    case BinaryOp::Div:
    case BinaryOp::IntDiv:
    case BinaryOp::Mod:
      if (!numbers) return bad_operands(op, a, b);
      return arithmetic(op, x, y, out);
    case BinaryOp::Eq:
    case BinaryOp::Ne: {
      bool equal;
      if (numbers) equal = compare_numbers(x, y) == 0;
      else if (is_text(a) && is_text(b)) equal = compare_texts(a, b) == 0;
      else equal = VKL_ObjEqual(a, b) != 0;
      vkl_put_int(out, (op == BinaryOp::Eq) == equal);
      return {};
    }
    default:
      break;
  }
  int c;
  if (numbers) c = compare_numbers(x, y);
  else if (is_text(a) && is_text(b)) c = compare_texts(a, b);
  else return bad_operands(op, a, b);
  bool r = false;
  if (c != 2) {
    switch (op) {
      case BinaryOp::Lt: r = c < 0; break;
      case BinaryOp::Gt: r = c > 0; break;
      case BinaryOp::Le: r = c <= 0; break;
      case BinaryOp::Ge: r = c >= 0; break;
      default: break;
    }
  }
  vkl_put_int(out, r);
  return {};
}

std::string apply_negate(const TObject* a, TObject* out) {
  a = vkl_follow(a);
  Number x;
  if (!read_number(a, &x)) return "cannot negate " + kind_name(a);
  if (x.integer) put_integer(out, wrap_sub(0, x.i));
  else vkl_put_real(out, -x.r);
  return {};
}

}  // namespace vkl::lang
