// Type tests and value introspection: the kind of a value and single-kind tests (also element
// by element over nested tables), none values, object states, copies, lengths, resizing strings,
// binaries and matrices, cell matrices and binaries made from scratch, and path access into
// nested tables.
#pragma once

#include <vkl/object.h>

#include "plugin/function_row.h"

namespace vkl::core {

// Kinds (typetests.cpp).
int datatype(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifint(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifreal(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifint64(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifnumber(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifstring(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifwstring(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifarray(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifnil(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifexp(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifgraph(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifgraphgroup(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifbinary(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifobj(VKL_State* L, TObject* args, int nargs, TObject* result);
int ifmatrix(VKL_State* L, TObject* args, int nargs, TObject* result);
int iffmarray(VKL_State* L, TObject* args, int nargs, TObject* result);
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
    {"ifint", core::ifint, "ifint(x [, deep])", "1 when x is a 32-bit integer"},
    {"ifreal", core::ifreal, "ifreal(x [, deep])", "1 when x is a real"},
    {"ifint64", core::ifint64, "ifint64(x [, deep])", "1 when x is a 64-bit integer"},
    {"ifnumber", core::ifnumber, "ifnumber(x [, deep])",
     "1 when x is an integer, a real or a 64-bit integer"},
    {"ifstring", core::ifstring, "ifstring(x [, deep])", "1 when x is a narrow string"},
    {"ifwstring", core::ifwstring, "ifwstring(x [, deep])", "1 when x is a wide string"},
    {"ifarray", core::ifarray, "ifarray(x [, deep])", "1 when x is a table"},
    {"ifnil", core::ifnil, "ifnil(x [, deep])", "1 when x is nil"},
    {"ifexp", core::ifexp, "ifexp(x [, deep])", "1 when x is an expression or function value"},
    {"ifgraph", core::ifgraph, "ifgraph(x [, deep])", "1 when x is a graph"},
    {"ifgraphgroup", core::ifgraphgroup, "ifgraphgroup(x [, deep])", "1 when x is a graph group"},
    {"ifbinary", core::ifbinary, "ifbinary(x [, deep])", "1 when x is a binary"},
    {"ifobj", core::ifobj, "ifobj(x [, deep])", "1 when x is an object"},
    {"ifmatrix", core::ifmatrix, "ifmatrix(x [, deep])", "1 when x is a cell matrix"},
    {"iffmarray", core::iffmarray, "iffmarray(x [, deep])", "1 when x is a fixed matrix"},
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
