// Type tests and value introspection: the kind of a value and single-kind tests (also element
// by element over nested tables), none values, object states, copies, lengths, resizing strings,
// binaries and matrices, cell matrices and binaries made from scratch, and path access into
// nested tables.
#pragma once

#include <vkl/kernel.h>

#include "plugin/function_row.h"

namespace vkl::core {

// Moves a finished value into `dst`, releasing what `dst` held; `src` becomes nil.
inline void install(VKL_State* L, TObject* dst, TObject* src) {
  VKL_FreeObjectContent(L, dst);
  *dst = *src;
  vkl_put_nil(src);
}

// Kinds (typetests.cpp).

// The answer for one value that is not walked into: a kind code or a test's 1 / 0.
using LeafAnswer = int (*)(const TObject* cell);
// The common body of datatype and the single-kind tests, (x [, deep]): the leaf answer of x, or
// with deep a table of the answers of its elements. `follow`: a reference is answered as its
// target.
int answer_kind(VKL_State* L, TObject* args, int nargs, TObject* result, LeafAnswer leaf,
                bool follow);

template <int... Tags>
int has_kind(const TObject* cell) {
  return ((cell->tag == Tags) || ...) ? 1 : 0;
}

// ifint, ifreal, ... (x [, deep]): 1 when x is of one of the kinds Tags, else 0
template <int... Tags>
int kind_test(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return answer_kind(L, args, nargs, result, has_kind<Tags...>, true);
}

int datatype(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifcache(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifnone(VKL_State* L, TObject* args, int nargs, TObject* result);
int getnone(VKL_State* L, TObject* args, int nargs, TObject* result);
int objectstate(VKL_State* L, TObject* args, int nargs, TObject* result);
int dupvalue(VKL_State* L, TObject* args, int nargs, TObject* result);

// Sizes, construction and paths (introspection.cpp).
int length(VKL_State* L, TObject* args, int nargs, TObject* result);
int lengthw(VKL_State* L, TObject* args, int nargs, TObject* result);
int setlength(VKL_State* L, TObject* args, int nargs, TObject* result);
int creatematrix(VKL_State* L, TObject* args, int nargs, TObject* result);
int getmatrixfields(VKL_State* L, TObject* args, int nargs, TObject* result);
int createbinary(VKL_State* L, TObject* args, int nargs, TObject* result);
int magicgetarray(VKL_State* L, TObject* args, int nargs, TObject* result);
int magicsetarray(VKL_State* L, TObject* args, int nargs, TObject* result);

}  // namespace vkl::core

namespace vkl::plugin {

inline constexpr FunctionRow kTypeTestRows[] = {
    {"datatype", core::datatype, "datatype(x [, deep])",
     "kind code of x (-1 for none); with deep, a table of the element kinds"},
    {"ifint", core::kind_test<VKL_TINT>, "ifint(x [, deep])", "1 when x is a 32-bit integer"},
    {"ifreal", core::kind_test<VKL_TREAL>, "ifreal(x [, deep])", "1 when x is a real"},
    {"ifint64", core::kind_test<VKL_TINT64>, "ifint64(x [, deep])", "1 when x is a 64-bit integer"},
    {"ifnumber", core::kind_test<VKL_TINT, VKL_TREAL, VKL_TINT64>, "ifnumber(x [, deep])",
     "1 when x is an integer, a real or a 64-bit integer"},
    {"ifstring", core::kind_test<VKL_TSTRING, VKL_TSTRING2>, "ifstring(x [, deep])", "1 when x is a narrow string"},
    {"ifwstring", core::kind_test<VKL_TWSTRING>, "ifwstring(x [, deep])", "1 when x is a wide string"},
    {"ifarray", core::kind_test<VKL_TTABLE>, "ifarray(x [, deep])", "1 when x is a table"},
    {"ifnil", core::kind_test<VKL_TNIL>, "ifnil(x [, deep])", "1 when x is nil"},
    {"ifexp", core::kind_test<VKL_TFUNCTION, VKL_TEXPRESSION>, "ifexp(x [, deep])", "1 when x is an expression or function value"},
    {"ifgraph", core::kind_test<VKL_TGRAPH>, "ifgraph(x [, deep])", "1 when x is a graph"},
    {"ifgraphgroup", core::kind_test<VKL_TGRAPHGROUP>, "ifgraphgroup(x [, deep])", "1 when x is a graph group"},
    {"ifbinary", core::kind_test<VKL_TBINARY>, "ifbinary(x [, deep])", "1 when x is a binary"},
    {"ifobj", core::kind_test<VKL_TOBJECT, VKL_TOBJECT14, VKL_TOBJECT15, VKL_TOBJECT16, VKL_TOBJECT23,
                                VKL_TOBJECT36, VKL_TOBJECT37, VKL_TOBJECT38>, "ifobj(x [, deep])", "1 when x is an object"},
    {"ifmatrix", core::kind_test<VKL_TMATRIX>, "ifmatrix(x [, deep])", "1 when x is a cell matrix"},
    {"iffmarray", core::kind_test<VKL_TFIXEDMATRIX>, "iffmarray(x [, deep])", "1 when x is a fixed matrix"},
    {"ifcache", core::ifcache, "ifcache(x [, deep])", "1 when the argument itself is a reference"},
    {"ifnone", core::ifnone, "ifnone(x [, code])",
     "1 when x is a none value (with code: a none value of that code)"},
    {"getnone", core::getnone, "getnone(x)", "the code of the none value x"},
    {"objectstate", core::objectstate, "objectstate(x)",
     "the state field of a host object, -1 when x has none"},
    {"dupvalue", core::dupvalue, "dupvalue(x)", "a deep, independent copy of x"},
    {"length", core::length, "length(x)",
     "characters of a string, entries of a table, bytes of a binary, cells of a matrix"},
    {"lengthw", core::lengthw, "lengthw(x)", "length of x in UTF-16 units"},
    {"setlength", core::setlength, "setlength(var, n)",
     "resizes a string, wide string, binary or matrix in place; 1 on success"},
    {"creatematrix", core::creatematrix, "creatematrix(rows, cols [, fields [, values...]])",
     "a cell matrix with optional field names, filled row by row"},
    {"getmatrixfields", core::getmatrixfields, "getmatrixfields(m)",
     "the field names of a cell matrix as a table"},
    {"createbinary", core::createbinary, "createbinary(n)", "a binary of n zero bytes"},
    {"magicgetarray", core::magicgetarray, "magicgetarray(t, key1, ... | t, path)",
     "the entry of nested tables at a path of keys; nil when missing"},
    {"magicsetarray", core::magicsetarray, "magicsetarray(t, key1, ..., value | t, path, value)",
     "stores value at a path of keys, creating the tables on the way"},
};

}  // namespace vkl::plugin
