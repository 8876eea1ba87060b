#include "value_pool.h"

#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>

namespace torture {
namespace {

enum Value : size_t {
  kNil,
  kZero,
  kMinusOne,
  kOne,
  kInt32Max,
  kInt64Min,
  kInt64Max,
  kHalf,
  kHugeNegative,
  kInfinity,
  kNaN,
  kEmptyText,
  kText,
  kGbkText,
  kTextWithZeros,
  kWideText,
  kLoneSurrogate,
  kEmptyBinary,
  kBinary,
  kEmptyTable,
  kMixedTable,
  kDeepTable,
  kCyclicTable,
  kCellMatrix,
  kFixedInt32,
  kFixedDouble,
  kFixedCells,
  kFixedInt64A,
  kFixedInt64,
  kNone,
  kRefToInt,
  kRefToTable,
  kFunctionBox,
  kPlainObjectBox,
  kSmallInt64,
  kConstantText,
  kSecondStringKind,
  kEmptyFixed,
  kFixedElement,
  kColumnlessMatrix,
  kRefToRef,
  kHostObject,
  kDeferred,
  kMutexTypeName,
  kReservedClassName,
  kLoneLeadByte,
  kValueCount
};

constexpr const char* kNames[] = {
    "nil",        "0",           "-1",          "1",          "2147483647",
    "int64 min",  "int64 max",   "0.5",         "-1e308",     "inf",
    "nan",        "\"\"",        "\"text\"",    "GBK text",   "text with zeros",
    "L\"wide\"",  "lone surrogate", "empty binary", "binary", "empty table",
    "mixed table", "deep table", "cyclic table", "cell matrix", "fixed int32",
    "fixed double", "fixed cells", "fixed int64a", "fixed int64", "none(3)",
    "ref to int", "ref to table", "function box", "plain object box", "-3L",
    "constant text", "kind-6 text", "empty fixed", "fixed element", "columnless matrix",
    "ref to ref", "host object", "deferred value",
    "\"tvk_mutex\"", "\"VKLObject\"", "lone GBK lead byte"};
static_assert(std::size(kNames) == kValueCount, "every value has a name");

// "中文" in the GBK code page.
constexpr char kGbk[] = "\xD6\xD0\xCE\xC4";
constexpr char kZeros[] = {'a', '\0', 'b', '\0', 'c'};
constexpr vkl_wchar kSurrogate[] = {u'a', 0xD800, u'b', 0};
constexpr unsigned char kBytes[] = {0x00, 0x01, 0x80, 0xFF, 0x00};

// Boxes the kernel does not know: a function value no hook can call, and a kind-7 object
// that no named-object manager made.
const VKL_BoxType kFunctionType = {"torture function", nullptr, nullptr};
const VKL_BoxType kPlainObjectType = {"torture object", nullptr, nullptr};
int g_box_data = 0;
// A host object of kind 23 with the header such objects carry.
VKL_HostObject g_host_object = {"torture", 5};
const VKL_BoxType kHostObjectType = {"torture host object", nullptr, nullptr};

// A deferred value that computes to a text.
int compute_deferred(VKL_State* L, void*, TObject* out) { return VKL_SetString(L, out, "later"); }
const VKL_BoxType kDeferredType = {"torture deferred", nullptr, compute_deferred};

// {1, 2.5, "text", 10: "ten", 5000000000: -7, "k": "value", "inner": {1, "x"}}
void make_mixed_table(VKL_State* L, TObject* cell) {
  VKL_Table* t = VKL_NewHash(L, cell);
  VKL_SetInt(L, VKL_HashSetInt(L, t, 0), 1);
  VKL_SetReal(L, VKL_HashSetInt(L, t, 1), 2.5);
  VKL_SetString(L, VKL_HashSetInt(L, t, 2), "text");
  VKL_SetString(L, VKL_HashSetInt(L, t, 10), "ten");
  VKL_SetInt(L, VKL_HashSetInt64(L, t, 5000000000LL), -7);
  VKL_SetString(L, VKL_HashSetSZString(L, t, "k"), "value");
  VKL_Table* inner = VKL_NewHash(L, VKL_HashSetSZString(L, t, "inner"));
  VKL_SetInt(L, VKL_HashSetInt(L, inner, 0), 1);
  VKL_SetString(L, VKL_HashSetInt(L, inner, 1), "x");
}

// Two rows of two columns with fields "a" and "b".
void make_cell_matrix(VKL_State* L, TObject* cell) {
  VKL_Matrix* m = VKL_CreateMatrix(L, cell, 2, 2);
  VKL_SetString(L, VKL_Matrix_Get(m, -1, 0), "a");
  VKL_SetString(L, VKL_Matrix_Get(m, -1, 1), "b");
  VKL_SetInt(L, VKL_Matrix_Get(m, 0, 0), 1);
  VKL_SetString(L, VKL_Matrix_Get(m, 0, 1), "x");
  VKL_SetReal(L, VKL_Matrix_Get(m, 1, 0), 2.5);
}

// A 2 x 3 fixed matrix of the element type with elements 0..5 (cells: numbers and a text).
void make_fixed(VKL_State* L, TObject* cell, int type) {
  const int64_t dims[] = {2, 3};
  VKL_FixedMatrix* fm = VKL_CreateFixedMatrix(L, cell, type, 2, dims);
  void* buffer = VKL_FMGetBuffer(fm);
  for (int i = 0; i < 6; ++i) {
    switch (type) {
      case VKL_FM_INT32:
        static_cast<int32_t*>(buffer)[i] = i - 2;
        break;
      case VKL_FM_DOUBLE:
        static_cast<double*>(buffer)[i] = i * 0.25;
        break;
      case VKL_FM_CELLS: {
        TObject* element = static_cast<TObject*>(buffer) + i;
        if (i == 4)
          VKL_SetString(L, element, "cell");
        else
          VKL_SetInt(L, element, i);
        break;
      }
      default:
        static_cast<int64_t*>(buffer)[i] = (int64_t{1} << 40) * i;
        break;
    }
  }
}

}  // namespace

CallCells::CallCells(VKL_State* L, size_t count) : L_(L), args_(count), targets_(count) {
  for (TObject& c : args_) vkl_put_nil(&c);
  for (TObject& c : targets_) vkl_put_nil(&c);
}

CallCells::~CallCells() {
  release_args();
  release_targets();
}

void CallCells::release_args() {
  for (TObject& c : args_) VKL_FreeObjectContent(L_, &c);
}

void CallCells::release_targets() {
  for (TObject& c : targets_) VKL_FreeObjectContent(L_, &c);
}

ValuePool::ValuePool(VKL_State* L) : L_(L) {
  vkl_put_int(&int_constant_, 9);
  vkl_put_nil(&deep_);
  vkl_put_nil(&cyclic_);
  build_deep();
  build_cyclic();
}

ValuePool::~ValuePool() {
  // The cycle is cut first, or the table would keep itself alive.
  VKL_FreeObjectContent(L_, VKL_HashGetSZString(vkl_table(&cyclic_), "self"));
  VKL_FreeObjectContent(L_, &cyclic_);
  VKL_FreeObjectContent(L_, &deep_);
}

void ValuePool::build_deep() {
  VKL_Table* level = VKL_NewHash(L_, &deep_);
  shared_.insert(level);
  for (int i = 1; i < kDeepLevels; ++i) {
    level = VKL_NewHash(L_, VKL_HashSetInt(L_, level, 0));
    shared_.insert(level);
  }
  VKL_SetInt(L_, VKL_HashSetInt(L_, level, 0), 42);
  VKL_SetStatic(&deep_);
}

void ValuePool::build_cyclic() {
  VKL_Table* t = VKL_NewHash(L_, &cyclic_);
  shared_.insert(t);
  VKL_SetInt(L_, VKL_HashSetInt(L_, t, 0), 1);
  VKL_SetString(L_, VKL_HashSetSZString(L_, t, "name"), "loop");
  VKL_SetHashRef(L_, VKL_HashSetSZString(L_, t, "self"), t);
  VKL_SetStatic(&cyclic_);
}

std::string ValuePool::shared_damage() const {
  if (deep_.tag != VKL_TTABLE || !VKL_IsStatic(&deep_)) return "the deep table lost its kind";
  const VKL_Table* level = vkl_table(&deep_);
  for (int i = 1; i < kDeepLevels; ++i) {
    const TObject* next = VKL_HashGetInt(level, 0);
    if (VKL_HashCount(level) != 1 || !next || next->tag != VKL_TTABLE)
      return "the deep table changed at level " + std::to_string(i);
    level = vkl_table(next);
  }
  const TObject* leaf = VKL_HashGetInt(level, 0);
  if (VKL_HashCount(level) != 1 || !leaf || leaf->tag != VKL_TINT || vkl_int(leaf) != 42)
    return "the deep table's innermost value changed";

  if (cyclic_.tag != VKL_TTABLE || !VKL_IsStatic(&cyclic_)) return "the cyclic table lost its kind";
  const VKL_Table* t = vkl_table(&cyclic_);
  const TObject* self = VKL_HashGetSZString(t, "self");
  const TObject* first = VKL_HashGetInt(t, 0);
  if (VKL_HashCount(t) != 3 || !self || self->tag != VKL_TTABLE || vkl_table(self) != t ||
      !first || first->tag != VKL_TINT || vkl_int(first) != 1 ||
      std::string(VKL_AsString(VKL_HashGetSZString(t, "name"))) != "loop")
    return "the cyclic table changed";
  return {};
}

size_t ValuePool::size() const { return kValueCount; }

const char* ValuePool::name(size_t index) const { return kNames[index]; }

size_t ValuePool::cyclic_index() const { return kCyclicTable; }

void ValuePool::make(size_t index, CallCells& cells, size_t i) const {
  TObject* cell = &cells.arg(i);
  switch (static_cast<Value>(index)) {
    case kNil: VKL_SetNil(L_, cell); break;
    case kZero: VKL_SetInt(L_, cell, 0); break;
    case kMinusOne: VKL_SetInt(L_, cell, -1); break;
    case kOne: VKL_SetInt(L_, cell, 1); break;
    case kInt32Max: VKL_SetInt(L_, cell, std::numeric_limits<int32_t>::max()); break;
    case kInt64Min: VKL_SetInt64(L_, cell, std::numeric_limits<int64_t>::min()); break;
    case kInt64Max: VKL_SetInt64(L_, cell, std::numeric_limits<int64_t>::max()); break;
    case kHalf: VKL_SetReal(L_, cell, 0.5); break;
    case kHugeNegative: VKL_SetReal(L_, cell, -1e308); break;
    case kInfinity: VKL_SetReal(L_, cell, INFINITY); break;
    case kNaN: VKL_SetReal(L_, cell, NAN); break;
    case kEmptyText: VKL_SetString(L_, cell, ""); break;
    case kText: VKL_SetString(L_, cell, "text"); break;
    case kGbkText: VKL_SetString(L_, cell, kGbk); break;
    case kTextWithZeros: VKL_SetStringEx(L_, cell, kZeros, sizeof kZeros); break;
    case kWideText: VKL_SetWString(L_, cell, u"wide"); break;
    case kLoneSurrogate: VKL_SetWString(L_, cell, kSurrogate); break;
    case kEmptyBinary: VKL_SetBin(L_, cell, nullptr, 0); break;
    case kBinary: VKL_SetBin(L_, cell, kBytes, sizeof kBytes); break;
    case kEmptyTable: VKL_NewHash(L_, cell); break;
    case kMixedTable: make_mixed_table(L_, cell); break;
    case kDeepTable: VKL_DupObjectHashRef3(L_, cell, &deep_); break;
    case kCyclicTable: VKL_DupObjectHashRef3(L_, cell, &cyclic_); break;
    case kCellMatrix: make_cell_matrix(L_, cell); break;
    case kFixedInt32: make_fixed(L_, cell, VKL_FM_INT32); break;
    case kFixedDouble: make_fixed(L_, cell, VKL_FM_DOUBLE); break;
    case kFixedCells: make_fixed(L_, cell, VKL_FM_CELLS); break;
    case kFixedInt64A: make_fixed(L_, cell, VKL_FM_INT64A); break;
    case kFixedInt64: make_fixed(L_, cell, VKL_FM_INT64); break;
    case kNone: VKL_SetNone(L_, cell, 3); break;
    case kRefToInt:
      VKL_SetInt(L_, &cells.target(i), 7);
      VKL_SetRef(L_, cell, &cells.target(i));
      break;
    case kRefToTable:
      make_mixed_table(L_, &cells.target(i));
      VKL_SetRef(L_, cell, &cells.target(i));
      break;
    case kFunctionBox: VKL_SetBox(L_, cell, VKL_TFUNCTION, &kFunctionType, &g_box_data); break;
    case kPlainObjectBox: VKL_SetBox(L_, cell, VKL_TOBJECT, &kPlainObjectType, &g_box_data); break;
    case kSmallInt64: VKL_SetInt64(L_, cell, -3); break;
    case kConstantText: VKL_SetConstString(L_, cell, "constant"); break;
    case kSecondStringKind:
      VKL_SetString(L_, cell, "six");
      vkl_put_tag(cell, VKL_TSTRING2);
      break;
    case kEmptyFixed: {
      const int64_t dims[] = {0};
      VKL_CreateFixedMatrix(L_, cell, VKL_FM_DOUBLE, 1, dims);
      break;
    }
    case kFixedElement: {
      TObject matrix;
      vkl_put_nil(&matrix);
      make_fixed(L_, &matrix, VKL_FM_DOUBLE);
      VKL_SetFMElement(L_, cell, static_cast<VKL_FixedMatrix*>(vkl_ptr(&matrix)), 5);
      VKL_FreeObjectContent(L_, &matrix);
      break;
    }
    case kColumnlessMatrix: VKL_CreateMatrix(L_, cell, 1, 0); break;
    case kRefToRef:
      // The target is itself a reference, to a constant that outlives every call.
      VKL_SetRef(L_, &cells.target(i), const_cast<TObject*>(&int_constant_));
      VKL_SetRef(L_, cell, &cells.target(i));
      break;
    case kHostObject: VKL_SetBox(L_, cell, VKL_TOBJECT23, &kHostObjectType, &g_host_object); break;
    case kDeferred: VKL_SetDeferred(L_, cell, &kDeferredType, nullptr); break;
    // Class names createobject knows: the mutex type and the reserved script-class name.
    case kMutexTypeName: VKL_SetString(L_, cell, "tvk_mutex"); break;
    case kReservedClassName: VKL_SetString(L_, cell, "VKLObject"); break;
    case kLoneLeadByte: VKL_SetString(L_, cell, "x\xD6"); break;
    case kValueCount: break;
  }
}

}  // namespace torture
