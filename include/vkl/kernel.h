/* The kernel operations (libvklkrnl.so): value cells, tables, matrices, memory, strings, text
 * forms and streams.
 *
 * Conventions:
 * - Every operation that may allocate or free takes the state L first; a null L uses the
 *   kernel's own process-wide state. The state counts the bytes held by string and binary
 *   payloads (VKL_GetMemUsed), exactly: every allocation, resize and free adjusts the count.
 * - Setting a cell releases what it held. Operations that return int give 1 on success and 0
 *   on failure; a failed operation leaves its target cell unchanged.
 * - Kind tests and conversions follow a reference (kind 26) one level.
 * - Strings: narrow text is bytes in the host code page (VKL_GetCodePage, default 936) with a
 *   terminating zero; wide text is UTF-16. Lengths count bytes or 16-bit units and exclude the
 *   terminating zero unless said otherwise.
 */
#ifndef VKL_KERNEL_H
#define VKL_KERNEL_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- States ---- */

VKL_API VKL_State* VKL_NewState(void);
/* Frees the state itself; cells made under it must have been released first. */
VKL_API void VKL_FreeState(VKL_State* L);
/* A pointer the interpreter keeps in the state. */
VKL_API void* VKL_StateGetUserData(VKL_State* L);
VKL_API void VKL_StateSetUserData(VKL_State* L, void* data);

/* ---- Memory ---- */

/* Plain kernel memory (texts from VKL_ObjToStr and the like): not counted. */
VKL_API void* VKL_Malloc(size_t size);
VKL_API void* VKL_Realloc(void* p, size_t size);
/* As VKL_Realloc, but when the resize fails the old block is freed too (null is returned). */
VKL_API void* VKL_ReallocNoLeak(void* p, size_t size);
VKL_API void VKL_Free(void* p);
/* Resizes the payload of a narrow string, wide string or binary cell in place to `len`
 * characters (bytes, units, or bytes), keeping the terminating zero; the cell becomes the owner
 * of its buffer, new characters are zero, the stored length and the count are adjusted.
 * Returns the buffer, or null (cell unchanged) for another kind, a bad length or no memory. */
VKL_API void* VKL_Realloc2(VKL_State* L, TObject* o, int64_t len);
/* Bytes held by string and binary payloads of this state. */
VKL_API int64_t VKL_GetMemUsed(VKL_State* L);
/* Limit of that count (negative: none, the default). */
VKL_API void VKL_SetMemLimit(VKL_State* L, int64_t limit);
/* 1 when `bytes` more bytes of payload fit within the state's limit. */
VKL_API int VKL_CheckMoreMem(VKL_State* L, int64_t bytes);
/* Bytes of stack left to the calling thread (0 when unknown). */
VKL_API int64_t VKL_StackAvail(void);

/* ---- Cell access and kinds ---- */

VKL_API int VKL_NumberCheck(const TObject* o);    /* 0, 1, 20 */
VKL_API int VKL_DoubleCheck(const TObject* o);    /* 0, 1, 20, or a fixed-matrix element */
VKL_API int VKL_StringCheck(const TObject* o);    /* 2, 6 */
VKL_API int VKL_WStringCheck(const TObject* o);   /* 24 */
VKL_API int VKL_StringCheckAll(const TObject* o); /* 2, 6, 24 */
VKL_API int VKL_HashCheck(const TObject* o);      /* 5 */

/* Numbers convert as numbers (a real to an integer truncates toward zero and saturates, NaN
 * gives 0); a fixed-matrix element reads as its element type; a narrow or wide string is parsed
 * as a number (0 when it is not one); nil, none and every other kind give 0. */
VKL_API int32_t VKL_AsInt(const TObject* o);
VKL_API int64_t VKL_AsInt64(const TObject* o);
VKL_API intptr_t VKL_AsIntPtr(const TObject* o);
VKL_API double VKL_AsDouble(const TObject* o);
/* Truth test: a number is true when not zero; a string or binary when not empty; nil and none
 * are false; every other kind is true. */
VKL_API int VKL_AsBool(const TObject* o);
/* The text of a narrow string cell (2, 6) or the bytes of a binary; "" for other kinds. */
VKL_API const char* VKL_AsString(const TObject* o);
/* The text of a wide string cell; u"" for other kinds. */
VKL_API const vkl_wchar* VKL_AsWString(const TObject* o);

VKL_API void VKL_SetInt(VKL_State* L, TObject* o, int32_t v);
VKL_API void VKL_SetInt64(VKL_State* L, TObject* o, int64_t v);
/* An integer of pointer width: kind 20. */
VKL_API void VKL_SetIntPtr(VKL_State* L, TObject* o, intptr_t v);
/* Kind 0 when v fits 32 bits, else kind 20. */
VKL_API void VKL_SetIntAuto(VKL_State* L, TObject* o, int64_t v);
VKL_API void VKL_SetReal(VKL_State* L, TObject* o, double v);
VKL_API void VKL_SetNil(VKL_State* L, TObject* o);
VKL_API void VKL_SetNone(VKL_State* L, TObject* o, int32_t code);
/* Copies a zero-terminated narrow text (null: empty). */
VKL_API int VKL_SetString(VKL_State* L, TObject* o, const char* s);
/* Copies `len` bytes (embedded zeros kept; null s: `len` zero bytes) and adds the zero. */
VKL_API int VKL_SetStringEx(VKL_State* L, TObject* o, const char* s, int64_t len);
/* Points the cell at a text that outlives it, without copying: not owned, not counted. */
VKL_API void VKL_SetConstString(VKL_State* L, TObject* o, const char* s);
VKL_API int VKL_SetWString(VKL_State* L, TObject* o, const vkl_wchar* s);
VKL_API int VKL_SetWStringEx(VKL_State* L, TObject* o, const vkl_wchar* s, int64_t len);
/* A binary of `len` bytes copied from `data` (null: zero bytes), plus the extra zero byte. */
VKL_API int VKL_SetBin(VKL_State* L, TObject* o, const void* data, int64_t len);
/* Gives a cell a kind with an empty payload: 0, 1, 20 zero; 2, 6, 11, 24 empty; 5 a new
 * table; 10 nil; 255 none with code 0. Other kinds: 0, cell unchanged. */
VKL_API int VKL_SetType(VKL_State* L, TObject* o, int tag);

/* Makes the cell a new empty table and returns it (null, cell unchanged, when out of memory).
 * The Ex form reserves room for `arrayCount` array entries and `hashCount` hash entries. */
VKL_API VKL_Table* VKL_NewHash(VKL_State* L, TObject* o);
VKL_API VKL_Table* VKL_NewHashEx(VKL_State* L, TObject* o, int64_t arrayCount, int64_t hashCount);
/* The cell takes a new reference to an existing table. */
VKL_API void VKL_SetHashRef(VKL_State* L, TObject* o, VKL_Table* t);

/* A box (kinds 7, 8, 9, 12-16, 19, 23, 26, 36-38) with reference count 1 holding `data`. */
VKL_API int VKL_SetBox(VKL_State* L, TObject* o, int tag, const VKL_BoxType* type, void* data);
/* A reference (26) to `target`; the target must outlive every copy of the reference. */
VKL_API int VKL_SetRef(VKL_State* L, TObject* o, TObject* target);
/* A deferred value (19): `type->compute` runs at the first VKL_CalcGridCompute. */
VKL_API int VKL_SetDeferred(VKL_State* L, TObject* o, const VKL_BoxType* type, void* data);
/* Computes a deferred value in place (following a reference); 1 also when nothing was
 * deferred, 0 (cell unchanged) when the computation failed. */
VKL_API int VKL_CalcGridCompute(VKL_State* L, TObject* o);
/* 1 when the cell (through a reference) is a function value (12), the callable kind. */
VKL_API int VKL_CallCheck(VKL_State* L, const TObject* o);

/* Copies: strings, binaries and wide strings are always copied, boxes shared. DupObject copies
 * tables, matrices and fixed matrices deeply (cycles and sharing inside the value are kept as
 * cycles and sharing of the copy; copied tables are variables). DupObjectEx copies nested
 * tables `depth` levels deep (negative: all) and shares them below. DupObjectHashRef with
 * byRef 1 and DupObjectHashRef3 share tables, matrices and fixed matrices by reference.
 * `dst` may be `src`. A copy too deep for the stack fails with 0. */
VKL_API int VKL_DupObject(VKL_State* L, TObject* dst, const TObject* src);
VKL_API int VKL_DupObjectEx(VKL_State* L, TObject* dst, const TObject* src, int depth);
VKL_API int VKL_DupObjectHashRef(VKL_State* L, TObject* dst, const TObject* src, int byRef);
VKL_API int VKL_DupObjectHashRef3(VKL_State* L, TObject* dst, const TObject* src);

/* A temporary nil cell on the heap, released with VKL_FreeObj. */
VKL_API TObject* VKL_NewObject(VKL_State* L);
VKL_API void VKL_FreeObj(VKL_State* L, TObject* o);
/* Releases what the cell holds and leaves it nil. */
VKL_API void VKL_FreeObjectContent(VKL_State* L, TObject* o);
/* A shared nil cell: never write to it. */
VKL_API const TObject* VKL_GetGlobalNilObj(void);

/* A table that is a constant (static) is replaced in its cell by a variable copy before a
 * change. VKL_SetStatic marks the table in a cell as a constant. */
VKL_API int VKL_StaticToVariable(VKL_State* L, TObject* o);
VKL_API void VKL_SetStatic(TObject* o);
VKL_API int VKL_IsStatic(const TObject* o);
/* Returns the table of the cell, made a variable. A nil cell, or any cell when mode is 2,
 * becomes a new empty table; other kinds give null. */
VKL_API VKL_Table* VKL_ForceTable(VKL_State* L, TObject* o, int mode);

/* Deep equality: same kind and same value (reals bitwise-equal or both NaN; tables with the
 * same keys holding equal values, in any order). A reference compares as its target. */
VKL_API int VKL_ObjEqual(const TObject* a, const TObject* b);
/* A total order for sorting: numbers by value, then strings bytewise, then wide strings,
 * then other kinds by tag. Returns <0, 0 or >0. */
VKL_API int VKL_CompareObj(const TObject* a, const TObject* b);

/* ---- Tables ----
 * Keys: integers (kind 0, or any integral number within 32 bits), int64s (beyond 32 bits) and
 * byte strings (kinds 2 and 6, stored as kind 6). An integral real key counts as that integer;
 * other keys are refused (null). Keys 0..n-1 live in the array part; every other key in the
 * hash part, which keeps insertion order. Iteration: array part by index, then hash part in
 * insertion order. A pointer to an entry stays valid until the table is next changed. */

/* The value cell stored under a key, or null when absent. */
VKL_API TObject* VKL_HashGet(const VKL_Table* t, const TObject* key);
VKL_API TObject* VKL_HashGetInt(const VKL_Table* t, int32_t key);
VKL_API TObject* VKL_HashGetInt64(const VKL_Table* t, int64_t key);
VKL_API TObject* VKL_HashGetSZString(const VKL_Table* t, const char* key);
VKL_API TObject* VKL_HashGetString(const VKL_Table* t, const char* key, int64_t len);
/* The value cell under a key, created nil when absent, to be filled in place; null when the
 * key is refused or memory is short. */
VKL_API TObject* VKL_HashSet(VKL_State* L, VKL_Table* t, const TObject* key);
VKL_API TObject* VKL_HashSetInt(VKL_State* L, VKL_Table* t, int32_t key);
VKL_API TObject* VKL_HashSetInt64(VKL_State* L, VKL_Table* t, int64_t key);
VKL_API TObject* VKL_HashSetIntPtr(VKL_State* L, VKL_Table* t, intptr_t key);
VKL_API TObject* VKL_HashSetSZString(VKL_State* L, VKL_Table* t, const char* key);
VKL_API TObject* VKL_HashSetString(VKL_State* L, VKL_Table* t, const char* key, int64_t len);
/* VKL_HashSetInt64 of the key that follows the array part (its size, 0 for an empty table):
 * filling a table with the keys 0, 1, 2, ... in order, without building key cells. */
VKL_API TObject* VKL_HashAppend(VKL_State* L, VKL_Table* t);

/* Entry counts: all, of the array part, of the hash part. */
VKL_API int64_t VKL_HashCount(const VKL_Table* t);
VKL_API int64_t VKL_HashArrayCount(const VKL_Table* t);
VKL_API int64_t VKL_HashHashCount(const VKL_Table* t);
/* Raw positions: the array part's slots, then the hash part's nodes, deleted ones included.
 * VKL_HashRawGetN gives the value (and key) at a position, or null for an empty position. */
VKL_API int64_t VKL_HashRawCount(const VKL_Table* t);
VKL_API TObject* VKL_HashRawGetN(const VKL_Table* t, int64_t pos, const TObject** key);
/* The n-th entry (from 0) in iteration order, or null. */
VKL_API TObject* VKL_HashGetN(const VKL_Table* t, int64_t n, const TObject** key);
/* Smallest and largest integer key and the number of integer keys (0: lo and hi untouched).
 * The 32-bit form counts only keys within 32 bits. */
VKL_API int32_t VKL_HashGetBounds(const VKL_Table* t, int32_t* lo, int32_t* hi);
VKL_API int64_t VKL_HashGetBounds64(const VKL_Table* t, int64_t* lo, int64_t* hi);
/* `dst` becomes a table of the string keys of `t`, in iteration order. */
VKL_API int VKL_HashGetFields(VKL_State* L, const VKL_Table* t, TObject* dst);
/* `dst` becomes a new empty table with room for as many entries of each part as `src`. */
VKL_API VKL_Table* VKL_NewHashFromHash(VKL_State* L, TObject* dst, const VKL_Table* src);
/* `dst` becomes a deep copy of `src`; the Ex form copies `depth` levels (negative: all). */
VKL_API int VKL_DupHash(VKL_State* L, TObject* dst, const VKL_Table* src);
VKL_API int VKL_DupHashEx(VKL_State* L, TObject* dst, const VKL_Table* src, int depth);
/* `dst` becomes a copy of the top level of `src`; nested tables are shared. */
VKL_API int VKL_DupNewHashFromHash(VKL_State* L, TObject* dst, const VKL_Table* src);
/* Removes one key; 1 when it was present. */
VKL_API int VKL_DeleteField(VKL_State* L, VKL_Table* t, const TObject* key);
/* Removes the array entries at keys index..index+count-1 and moves the later array entries
 * down; returns the number removed. */
VKL_API int64_t VKL_DeleteIndex2(VKL_State* L, VKL_Table* t, int64_t index, int64_t count);
/* Sorts the values under the integer keys 0..n-1 with VKL_CompareObj (stable). */
VKL_API int VKL_QuickSortArray(VKL_State* L, VKL_Table* t, int descending);
/* Sorts array entries that are tables by their value under `field` (stable). */
VKL_API int VKL_QuickSortTableByField(VKL_State* L, VKL_Table* t, const TObject* field,
                                      int descending);
/* Gives the integer-keyed entries the keys 0..n-1 in iteration order; other keys stay. */
VKL_API int VKL_Reindex(VKL_State* L, VKL_Table* t);
/* `dst` becomes a table of rows of `cols` entries holding the values of the array part of
 * `src` in order (the last row may be shorter); tables are shared. */
VKL_API int VKL_Reshape(VKL_State* L, TObject* dst, const VKL_Table* src, int64_t cols);
/* 1 when the table holds exactly the keys 0..n-1, all in its array part. */
VKL_API int VKL_ArrayCompleteCheck(const VKL_Table* t);
/* Complete arrays (as above) whose values are all numbers / all narrow strings. */
VKL_API int VKL_IsNNArray(const VKL_Table* t);
VKL_API int VKL_IsNSArray(const VKL_Table* t);
/* Lets go of one reference to a table; the last one frees it. */
VKL_API void VKL_GCFreeTable(VKL_State* L, VKL_Table* t);

/* ---- Cell matrices (kind 17) ----
 * R data rows and C columns, preceded by a header row of C field cells. Cells start nil. */

VKL_API VKL_Matrix* VKL_CreateMatrix(VKL_State* L, TObject* o, int64_t rows, int64_t cols);
VKL_API int64_t VKL_MatrixRows(const VKL_Matrix* m);
VKL_API int64_t VKL_MatrixCols(const VKL_Matrix* m);
/* The block of (R + 1) * C cells, header row first. */
VKL_API TObject* VKL_MatrixCells(const VKL_Matrix* m);
/* The cell at data row `row` (-1: the header row) and column `col`, or null out of range. */
VKL_API TObject* VKL_Matrix_Get(const VKL_Matrix* m, int64_t row, int64_t col);
/* Resizes the matrix in the cell to `count` data cells: ceil(count / C) rows (a matrix with no
 * columns gets one column); new cells nil. A shared matrix is copied first. */
VKL_API int VKL_Matrix_Resize(VKL_State* L, TObject* o, int64_t count);
/* `dst` becomes a matrix of the same rows and columns and a copy of the header row; data nil. */
VKL_API int DupMatrixStruct(VKL_State* L, TObject* dst, const VKL_Matrix* src);
/* 1 for a value with two or more dimensions: a cell matrix, a fixed matrix of two or more
 * dimensions, or a non-empty table whose values are all tables. */
VKL_API int IsMultiDim(const TObject* o);

/* ---- Fixed matrices (kinds 27, 28) ----
 * A dense buffer of one element type (VKL_FM_*), up to VKL_FMGetMaxDims() dimensions, stored
 * with the last dimension running fastest. Elements start zero (nil for VKL_FM_CELLS). */

VKL_API int VKL_FMGetMaxDims(void);
/* Makes the cell a new fixed matrix; null (cell unchanged) for a bad type or dimensions. */
VKL_API VKL_FixedMatrix* VKL_CreateFixedMatrix(VKL_State* L, TObject* o, int elemType, int ndims,
                                              const int64_t* dims);
/* A new fixed matrix of the dimensions of `src` with element type `elemType` (-1: that of
 * src); with copyData its elements are those of src converted, else zero. */
VKL_API VKL_FixedMatrix* VKL_CreateFixedMatrixFromFixedMatrix(VKL_State* L, TObject* o,
                                                             const VKL_FixedMatrix* src,
                                                             int elemType, int copyData);
/* Lets go of one reference; the last one frees the matrix. */
VKL_API void VKL_FreeFixedMatrix(VKL_State* L, VKL_FixedMatrix* fm);
VKL_API int VKL_FMGetType(const VKL_FixedMatrix* fm);
VKL_API int VKL_FMGetDims(const VKL_FixedMatrix* fm, int64_t* dims); /* returns ndims */
VKL_API int64_t VKL_FMGetCount(const VKL_FixedMatrix* fm);
VKL_API int VKL_FMGetElementsize(const VKL_FixedMatrix* fm);
VKL_API void* VKL_FMGetBuffer(const VKL_FixedMatrix* fm);
/* Element offset (in elements) of an index vector, or -1 when out of range. */
VKL_API int64_t VKL_FMGetOffsetByDims(const VKL_FixedMatrix* fm, const int64_t* index);
VKL_API void* VKL_FMGetBufferByDims(const VKL_FixedMatrix* fm, const int64_t* index);
VKL_API void* VKL_FMGetBufferByOffset(const VKL_FixedMatrix* fm, int64_t offset);
/* Bytes of one innermost row. */
VKL_API int64_t VKL_FMGetRawLineSize(const VKL_FixedMatrix* fm);
/* Advances an index vector in storage order (last dimension fastest). Returns 1 while the
 * index is a valid position, 0 when it wrapped past the end (it is then all zero). */
VKL_API int VKL_FMInc(const VKL_FixedMatrix* fm, int64_t* index);
/* As VKL_FMInc, with dimension `fixedDim` held where it is. */
VKL_API int VKL_FMIncFixedDim(const VKL_FixedMatrix* fm, int64_t* index, int fixedDim);
/* Element `offset` of a fixed matrix as a number (types 0, 1, 18, 20; other types read 0). */
VKL_API double VKL_FMGetDouble(const VKL_FixedMatrix* fm, int64_t offset);
VKL_API int64_t VKL_FMGetInt64(const VKL_FixedMatrix* fm, int64_t offset);
/* The cell becomes a reference (28) to element `offset`. */
VKL_API int VKL_SetFMElement(VKL_State* L, TObject* o, VKL_FixedMatrix* fm, int64_t offset);
/* New dimensions of the same element count; a shared matrix is copied first. */
VKL_API int VKL_FMReshape(VKL_State* L, TObject* o, int ndims, const int64_t* dims);
/* `dst` becomes a copy of `src` converted to `elemType` (-1: same type). */
VKL_API int VKL_FMToFM(VKL_State* L, TObject* dst, const VKL_FixedMatrix* src, int elemType);
/* Resizes the first dimension; new elements zero; a shared matrix is copied first. */
VKL_API int VKL_FM_Resize(VKL_State* L, TObject* o, int64_t firstDim);
/* `dst` becomes `src` with dimensions d1 and d2 exchanged (a transpose for two dimensions). */
VKL_API int VKL_FMDimExchange(VKL_State* L, TObject* dst, const VKL_FixedMatrix* src, int d1,
                              int d2);
/* `dst` becomes a fixed matrix from nested tables of equal lengths (complete arrays) of
 * numbers; elemType -1 picks int32, int64 or double from the values. */
VKL_API int VKL_HashToFixedmatrix(VKL_State* L, TObject* dst, const VKL_Table* src, int elemType);
/* `dst` becomes nested tables keyed by the index of each dimension. */
VKL_API int VKL_FixedmatrixToHash(VKL_State* L, TObject* dst, const VKL_FixedMatrix* src);

/* ---- Strings and code pages ---- */

/* Text length of a narrow string cell: the stored length less 1, or up to the first zero when
 * the stored length is below 1; 0 for other kinds. */
VKL_API int32_t VKL_StringLen(const TObject* o);
VKL_API int32_t VKL_WStringLen(const TObject* o);
/* The longest text a string cell can hold, in bytes or units. */
VKL_API int32_t VKL_GetMaxStrLen(void);
/* The host code page (a Windows code-page number); setting it fails for an unknown one. */
VKL_API int VKL_GetCodePage(void);
VKL_API int VKL_SetCodePage(int codePage);
/* Code page 0 means the host code page. Converts `len` bytes or units (negative: up to the
 * zero); writes at most `cap` units or bytes to `out` (cap 0: only measure) and returns the
 * length of the whole result, or -1 for an unknown code page. Unconvertible input becomes the
 * code page's substitute character. */
VKL_API int64_t VKL_MultiByteToWide(int codePage, const char* s, int64_t len, vkl_wchar* out,
                                    int64_t cap);
VKL_API int64_t VKL_WideToMultiByte(int codePage, const vkl_wchar* s, int64_t len, char* out,
                                    int64_t cap);
/* A cell set from text of the other width, converted through the host code page. */
VKL_API int VKL_SetWStringFromStr(VKL_State* L, TObject* o, const char* s, int64_t len);
VKL_API int VKL_SetStringFromWStr(VKL_State* L, TObject* o, const vkl_wchar* s, int64_t len);
/* Index of the first `ch` in s[0..len), or -1. */
VKL_API int64_t VKL_strchex(const char* s, int64_t len, int ch);
VKL_API int64_t VKL_wstrchex(const vkl_wchar* s, int64_t len, vkl_wchar ch);
/* Index of the first occurrence of a needle (embedded zeros respected), or -1. */
VKL_API int64_t VKL_strstrex(const char* s, int64_t len, const char* needle, int64_t nlen);
VKL_API int64_t VKL_wstrstrex(const vkl_wchar* s, int64_t len, const vkl_wchar* needle,
                              int64_t nlen);
/* Index of the character after the one at `i`: a double-byte character of the host code page
 * or a surrogate pair counts as one. */
VKL_API int64_t VKL_NextCharIndex(const char* s, int64_t len, int64_t i);
VKL_API int64_t VKL_NextCharIndexW(const vkl_wchar* s, int64_t len, int64_t i);

/* A list of byte strings. */
VKL_API VKL_StringList* VKL_StringListCreate(void);
VKL_API void VKL_StringListAdd(VKL_StringList* sl, const char* s, int64_t len);
/* Replaces the list by the lines of a text (CR LF, LF or CR end a line). */
VKL_API void VKL_StringListSetText(VKL_StringList* sl, const char* text, int64_t len);
VKL_API int64_t VKL_StringListCount(const VKL_StringList* sl);
/* The i-th string and its length, or null. */
VKL_API const char* VKL_StringListStrings(const VKL_StringList* sl, int64_t i, int64_t* len);
VKL_API void VKL_StringListFree(VKL_StringList* sl);

/* ---- Text forms ----
 * The text form of a value is the script's literal syntax: 12, -3L (an int64 within 32 bits),
 * 9223372036854775807, 2.5, 1e+300, inf, -inf, nan, "text" (escapes \\ \" \n \r \t \0 \xHH),
 * L"wide" (non-ASCII as \uXXXX), b"bytes" (a binary), nil, none(3),
 * array(1, 2, "k": "v", 10: x), nested. Kinds with no literal (objects, functions, matrices)
 * are written as <kind ...> and are not read back. Mode 1 gives the literal form; mode 0 the
 * display form, the same except that a string value at the top level is its bare text. */
VKL_API char* VKL_ObjToStr(VKL_State* L, const TObject* o, int mode); /* VKL_Free it */
VKL_API char* VKL_ObjToStrEx(VKL_State* L, const TObject* o, int mode, int64_t* len);
VKL_API int VKL_ObjToStrm(VKL_State* L, const TObject* o, VKL_Stream* s, int mode);
/* Parses one literal (surrounding white space allowed) into `target`; 1 on success. */
VKL_API int VKL_StrToObj(VKL_State* L, const char* text, TObject* target);
VKL_API int VKL_MemToObj(VKL_State* L, const void* text, int64_t len, TObject* target);

/* ---- Streams ---- */

/* File modes as the classic run-time library: 0xFF00 creates (or truncates) for reading and
 * writing; otherwise the low two bits are 0 read, 1 write, 2 read-write (share bits ignored).
 * A narrow name is in the host code page. Null when the file cannot be opened. */
VKL_API VKL_Stream* VKL_StreamFileCreate(const char* name, int mode);
VKL_API VKL_Stream* VKL_StreamFileCreateW(const vkl_wchar* name, int mode);
VKL_API VKL_Stream* VKL_StreamMemCreate(void);
/* The bytes of a memory stream and their count; null for a file stream. */
VKL_API void* VKL_StreamMemGetBuf(VKL_Stream* s, int64_t* size);
/* Bytes read or written (-1 on an error). */
VKL_API int64_t VKL_StreamRead(VKL_Stream* s, void* buf, int64_t n);
VKL_API int64_t VKL_StreamWrite(VKL_Stream* s, const void* buf, int64_t n);
/* origin 0 from the start, 1 from the current position, 2 from the end; returns the new
 * position or -1. */
VKL_API int64_t VKL_StreamSeek(VKL_Stream* s, int64_t offset, int origin);
VKL_API int64_t VKL_StreamGetPosition(VKL_Stream* s);
VKL_API int VKL_StreamSetPosition(VKL_Stream* s, int64_t pos);
VKL_API int64_t VKL_StreamGetSize(VKL_Stream* s);
VKL_API int VKL_StreamSetSize(VKL_Stream* s, int64_t size);
VKL_API void VKL_StreamFree(VKL_Stream* s);
/* 1 when `p` is a live stream of this kernel. */
VKL_API int VKL_isStream(const void* p);

/* ---- Host services: module path, file information, database ---- */

/* The directory of the running executable with a trailing '/' ("" when it cannot be found). */
VKL_API const char* VK_ModulePath(void);
/* The file's modification time as a date-time real (days since 1899-12-30, local time, the
 * fraction the time of day) and its size in bytes; either pointer may be null. 1 on success, 0
 * (outputs untouched) when the file cannot be examined. */
VKL_API int VKL_GetFileTimeSize(const char* path, double* time, int64_t* size);
/* The database functions, registered by the library as script functions. This host has no
 * database: execsql and the three transaction calls reject the call, sqlintrans gives 0 and
 * sqlcloseconn 1. */
VKL_API int VK_ExecSQL(VKL_State* L, TObject* args, int nargs, TObject* result);
VKL_API int VK_SQLBeginTransaction(VKL_State* L, TObject* args, int nargs, TObject* result);
VKL_API int VK_SQLCommitTransaction(VKL_State* L, TObject* args, int nargs, TObject* result);
VKL_API int VK_SQLRollbackTransaction(VKL_State* L, TObject* args, int nargs, TObject* result);
VKL_API int VK_SQLInTransaction(VKL_State* L, TObject* args, int nargs, TObject* result);
VKL_API int VK_SQLCloseConnection(VKL_State* L, TObject* args, int nargs, TObject* result);

#ifdef __cplusplus
}
#endif
#endif /* VKL_KERNEL_H */
