#include "value_pool.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>

namespace torture {
namespace {

// Where a value is made: the argument cell, the target beside it, and the pool's shared cells.
struct Making {
  VKL_State* L;
  TObject* cell;
  TObject* target;
  const TObject* deep;
  const TObject* cyclic;
  const TObject* int_constant;
};

// A value is the script literal of its name, unless it has a maker of its own.
struct PoolValue {
  const char* name;
  void (*make)(const Making& m) = nullptr;
};

// Boxes the kernel does not know: a function value no hook can call, a kind-7 object that no
// named-object manager made, and a host object of kind 23 with the header such objects carry.
const VKL_BoxType kFunctionType = {"torture function", nullptr, nullptr};
const VKL_BoxType kPlainObjectType = {"torture object", nullptr, nullptr};
const VKL_BoxType kHostObjectType = {"torture host object", nullptr, nullptr};
int g_box_data = 0;
VKL_HostObject g_host_object = {"torture", 5};

// A deferred value that computes to a text.
int compute_deferred(VKL_State* L, void*, TObject* out) { return VKL_SetString(L, out, "later"); }
const VKL_BoxType kDeferredType = {"torture deferred", nullptr, compute_deferred};

constexpr const char* kMixedTable =
    "array(1, 2.5, \"text\", 10: \"ten\", 5000000000L: -7, \"k\": \"value\", "
    "\"inner\": array(1, \"x\"))";

// Two rows of two columns with fields "a" and "b".
void make_cell_matrix(const Making& m) {
  VKL_Matrix* matrix = VKL_CreateMatrix(m.L, m.cell, 2, 2);
  VKL_SetString(m.L, VKL_Matrix_Get(matrix, -1, 0), "a");
  VKL_SetString(m.L, VKL_Matrix_Get(matrix, -1, 1), "b");
  VKL_SetInt(m.L, VKL_Matrix_Get(matrix, 0, 0), 1);
  VKL_SetString(m.L, VKL_Matrix_Get(matrix, 0, 1), "x");
  VKL_SetReal(m.L, VKL_Matrix_Get(matrix, 1, 0), 2.5);
}

// A 2 x 3 fixed matrix of the element type with elements 0..5 (cells: numbers and a text).
template <int Type>
void make_fixed(VKL_State* L, TObject* cell) {
  const int64_t dims[] = {2, 3};
  void* buffer = VKL_FMGetBuffer(VKL_CreateFixedMatrix(L, cell, Type, 2, dims));
  for (int i = 0; i < 6; ++i) {
    if constexpr (Type == VKL_FM_INT32) {
      static_cast<int32_t*>(buffer)[i] = i - 2;
    } else if constexpr (Type == VKL_FM_DOUBLE) {
      static_cast<double*>(buffer)[i] = i * 0.25;
    } else if constexpr (Type == VKL_FM_CELLS) {
      TObject* element = static_cast<TObject*>(buffer) + i;
      if (i == 4) VKL_SetString(L, element, "cell");
      else VKL_SetInt(L, element, i);
    } else {
      static_cast<int64_t*>(buffer)[i] = (int64_t{1} << 40) * i;
    }
  }
}

template <int Type>
void fixed(const Making& m) { make_fixed<Type>(m.L, m.cell); }

// Element 5 of a fixed matrix of doubles that only the element keeps alive.
void fixed_element(const Making& m) {
  TObject matrix;
  vkl_put_nil(&matrix);
  make_fixed<VKL_FM_DOUBLE>(m.L, &matrix);
  VKL_SetFMElement(m.L, m.cell, static_cast<VKL_FixedMatrix*>(vkl_ptr(&matrix)), 5);
  VKL_FreeObjectContent(m.L, &matrix);
}

const PoolValue kValues[] = {
    {"nil"}, {"0"}, {"-1"}, {"1"}, {"2147483647"},
    {"-9223372036854775808L"}, {"9223372036854775807L"}, {"0.5"}, {"-1e308"}, {"inf"}, {"nan"},
    {"\"\""}, {"\"text\""},
    {"\"\\xD6\\xD0\\xCE\\xC4\""},  // "中文" in the GBK code page
    {"\"a\\0b\\0c\""}, {"L\"wide\""}, {"L\"a\\uD800b\""}, {"b\"\""}, {"b\"\\0\\x01\\x80\\xFF\\0\""},
    {"array()"}, {"mixed table", [](const Making& m) { VKL_StrToObj(m.L, kMixedTable, m.cell); }},
    {"deep table", [](const Making& m) { VKL_DupObjectHashRef3(m.L, m.cell, m.deep); }},
    {"cyclic table", [](const Making& m) { VKL_DupObjectHashRef3(m.L, m.cell, m.cyclic); }},
    {"cell matrix", make_cell_matrix},
    {"fixed int32", fixed<VKL_FM_INT32>},
    {"fixed double", fixed<VKL_FM_DOUBLE>},
    {"fixed cells", fixed<VKL_FM_CELLS>},
    {"fixed int64a", fixed<VKL_FM_INT64A>},
    {"fixed int64", fixed<VKL_FM_INT64>},
    {"none(3)"},
    {"ref to int",
     [](const Making& m) { VKL_SetInt(m.L, m.target, 7), VKL_SetRef(m.L, m.cell, m.target); }},
    {"ref to table",
     [](const Making& m) {
       VKL_StrToObj(m.L, kMixedTable, m.target);
       VKL_SetRef(m.L, m.cell, m.target);
     }},
    {"function box",
     [](const Making& m) { VKL_SetBox(m.L, m.cell, VKL_TFUNCTION, &kFunctionType, &g_box_data); }},
    {"plain object box",
     [](const Making& m) { VKL_SetBox(m.L, m.cell, VKL_TOBJECT, &kPlainObjectType, &g_box_data); }},
    {"-3L"},
    {"constant text", [](const Making& m) { VKL_SetConstString(m.L, m.cell, "constant"); }},
    {"kind-6 text",
     [](const Making& m) { VKL_SetString(m.L, m.cell, "six"), vkl_put_tag(m.cell, VKL_TSTRING2); }},
    {"empty fixed",
     [](const Making& m) {
       const int64_t dims[] = {0};
       VKL_CreateFixedMatrix(m.L, m.cell, VKL_FM_DOUBLE, 1, dims);
     }},
    {"fixed element", fixed_element},
    {"columnless matrix", [](const Making& m) { VKL_CreateMatrix(m.L, m.cell, 1, 0); }},
    // The target is itself a reference, to a constant that outlives every call.
    {"ref to ref",
     [](const Making& m) {
       VKL_SetRef(m.L, m.target, const_cast<TObject*>(m.int_constant));
       VKL_SetRef(m.L, m.cell, m.target);
     }},
    {"host object",
     [](const Making& m) {
       VKL_SetBox(m.L, m.cell, VKL_TOBJECT23, &kHostObjectType, &g_host_object);
     }},
    {"deferred value",
     [](const Making& m) { VKL_SetDeferred(m.L, m.cell, &kDeferredType, nullptr); }},
    // Class names createobject knows: the mutex type and the reserved script-class name; and a
    // GBK lead byte without its second byte.
    {"\"tvk_mutex\""}, {"\"VKLObject\""}, {"\"x\\xD6\""},
};

}  // namespace

CallCells::CallCells(VKL_State* L, size_t count) : L_(L), args_(count), targets_(count) {
  for (TObject& c : args_) vkl_put_nil(&c);
  for (TObject& c : targets_) vkl_put_nil(&c);
}

void CallCells::release_args() {
  for (TObject& c : args_) VKL_FreeObjectContent(L_, &c);
}

void CallCells::release_targets() {
  for (TObject& c : targets_) VKL_FreeObjectContent(L_, &c);
}

ValuePool::ValuePool(VKL_State* L) : L_(L) {
  vkl_put_int(&int_constant_, 9);
  VKL_Table* level = VKL_NewHash(L_, &deep_);
  shared_.insert(level);
  for (int i = 1; i < kDeepLevels; ++i) {
    level = VKL_NewHash(L_, VKL_HashSetInt(L_, level, 0));
    shared_.insert(level);
  }
  VKL_SetInt(L_, VKL_HashSetInt(L_, level, 0), 42);
  VKL_SetStatic(&deep_);

  VKL_Table* t = VKL_NewHash(L_, &cyclic_);
  shared_.insert(t);
  VKL_SetInt(L_, VKL_HashSetInt(L_, t, 0), 1);
  VKL_SetString(L_, VKL_HashSetSZString(L_, t, "name"), "loop");
  VKL_SetHashRef(L_, VKL_HashSetSZString(L_, t, "self"), t);
  VKL_SetStatic(&cyclic_);
}

ValuePool::~ValuePool() {
  // The cycle is cut first, or the table would keep itself alive.
  VKL_FreeObjectContent(L_, VKL_HashGetSZString(vkl_table(&cyclic_), "self"));
  VKL_FreeObjectContent(L_, &cyclic_);
  VKL_FreeObjectContent(L_, &deep_);
}

std::string ValuePool::shared_damage() const {
  // The only entry of a table, when it has exactly one and it has that kind.
  const auto only = [](const TObject* table, int tag) -> const TObject* {
    const TObject* entry = VKL_HashGetInt(vkl_table(table), 0);
    return VKL_HashCount(vkl_table(table)) == 1 && entry && entry->tag == tag ? entry : nullptr;
  };
  if (deep_.tag != VKL_TTABLE || !VKL_IsStatic(&deep_)) return "the deep table lost its kind";
  const TObject* level = &deep_;
  for (int i = 1; i < kDeepLevels; ++i)
    if (!(level = only(level, VKL_TTABLE)))
      return "the deep table changed at level " + std::to_string(i);
  const TObject* leaf = only(level, VKL_TINT);
  if (!leaf || vkl_int(leaf) != 42) return "the deep table's innermost value changed";

  if (cyclic_.tag != VKL_TTABLE || !VKL_IsStatic(&cyclic_)) return "the cyclic table lost its kind";
  const VKL_Table* t = vkl_table(&cyclic_);
  const TObject* self = VKL_HashGetSZString(t, "self");
  const TObject* first = VKL_HashGetInt(t, 0);
  if (VKL_HashCount(t) != 3 || !self || self->tag != VKL_TTABLE || vkl_table(self) != t ||
      !first || first->tag != VKL_TINT || vkl_int(first) != 1 ||
      std::strcmp(VKL_AsString(VKL_HashGetSZString(t, "name")), "loop") != 0)
    return "the cyclic table changed";
  return {};
}

size_t ValuePool::size() const { return std::size(kValues); }

const char* ValuePool::name(size_t index) const { return kValues[index].name; }

size_t ValuePool::cyclic_index() const {
  static const size_t index = [] {
    size_t i = 0;
    while (std::strcmp(kValues[i].name, "cyclic table") != 0) ++i;
    return i;
  }();
  return index;
}

void ValuePool::make(size_t index, CallCells& cells, size_t i) const {
  const PoolValue& value = kValues[index];
  if (!value.make) {
    VKL_StrToObj(L_, value.name, &cells.arg(i));
    return;
  }
  value.make({L_, &cells.arg(i), &cells.target(i), &deep_, &cyclic_, &int_constant_});
}

}  // namespace torture
