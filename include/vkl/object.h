/* The value cell shared by the kernel, the interpreter and the function library.
 *
 * A cell is 18 bytes, packed: a one-byte kind tag and a 17-byte payload. Arrays of cells are
 * consecutive at a stride of 18 bytes. Payload fields are read and written through the inline
 * accessors below (memcpy at fixed offsets), never through misaligned pointer casts.
 *
 * The raw accessors (vkl_put_*) only overwrite payload bytes and the tag; they do not release
 * what the cell held. Use the VKL_Set* operations of <vkl/kernel.h> for ownership-correct writes.
 */
#ifndef VKL_OBJECT_H
#define VKL_OBJECT_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#ifdef __cplusplus
#define VKL_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
typedef char16_t vkl_wchar;
extern "C" {
#else
#include <uchar.h>
#define VKL_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
typedef char16_t vkl_wchar;
#endif

#if defined(__GNUC__)
#define VKL_API __attribute__((visibility("default")))
#else
#define VKL_API
#endif

/* Kind tags. */
enum {
  VKL_TINT = 0,          /* signed 32-bit integer */
  VKL_TREAL = 1,         /* IEEE double */
  VKL_TSTRING = 2,       /* narrow string: pointer, length counting the terminating zero */
  VKL_TTABLE = 5,        /* table: pointer to a reference-counted VKL_Table */
  VKL_TSTRING2 = 6,      /* second narrow string kind; table string keys use it */
  VKL_TOBJECT = 7,       /* host object (box) */
  VKL_TGRAPH = 8,        /* graph value (box) */
  VKL_TGRAPHGROUP = 9,   /* graph group (box) */
  VKL_TNIL = 10,
  VKL_TBINARY = 11,      /* binary: pointer, length; the buffer holds one extra zero byte */
  VKL_TFUNCTION = 12,    /* function value / expression, the callable kind (box) */
  VKL_TEXPRESSION = 13,  /* second expression form (box) */
  VKL_TOBJECT14 = 14,
  VKL_TOBJECT15 = 15,
  VKL_TOBJECT16 = 16,
  VKL_TMATRIX = 17,      /* cell matrix: pointer to a reference-counted VKL_Matrix */
  VKL_TDEFERRED = 19,    /* deferred value, computed in place by VKL_CalcGridCompute (box) */
  VKL_TINT64 = 20,       /* signed 64-bit integer */
  VKL_TOBJECT23 = 23,
  VKL_TWSTRING = 24,     /* wide string (UTF-16): pointer, length in units counting the zero */
  VKL_TREF = 26,         /* reference: box whose data is the referenced cell */
  VKL_TFIXEDMATRIX = 27, /* fixed matrix: pointer to a reference-counted VKL_FixedMatrix */
  VKL_TFMELEMENT = 28,   /* one element of a fixed matrix: matrix pointer and element offset */
  VKL_TOBJECT36 = 36,
  VKL_TOBJECT37 = 37,
  VKL_TOBJECT38 = 38,
  VKL_TNONE = 255        /* none value: a signed 32-bit code; reads as kind -1 */
};

/* Element types of a fixed matrix. */
enum {
  VKL_FM_INT32 = 0,
  VKL_FM_DOUBLE = 1,
  VKL_FM_CELLS = 5, /* each element is a value cell */
  VKL_FM_INT64A = 18,
  VKL_FM_INT64 = 20
};

typedef struct TObject {
  uint8_t tag;
  uint8_t payload[17];
} TObject;

/* Payload offsets, counted from the start of the cell. */
enum {
  VKL_OFF_TAG = 0,
  VKL_OFF_INT = 1,     /* int32 of kind 0, code of kind 255 */
  VKL_OFF_REAL = 1,    /* double of kind 1 */
  VKL_OFF_INT64 = 1,   /* int64 of kind 20 */
  VKL_OFF_PTR = 1,     /* pointer of every pointer kind */
  VKL_OFF_LEN = 9,     /* int32 length of kinds 2, 6, 11, 24 */
  VKL_OFF_ELEM = 9,    /* int64 element offset of kind 28 */
  VKL_OFF_OWNED = 17,  /* ownership flag of kinds 2, 6, 11, 24 */
  VKL_CELL_SIZE = 18
};

/* The same layout spelled as typed fields, so the compiler checks every offset. */
#pragma pack(push, 1)
typedef struct TObjectLayout {
  uint8_t tag;
  union {
    int32_t i;
    double r;
    int64_t i64;
    void* p;
  } v;
  union {
    int32_t len;
    int64_t elem;
  } w;
  uint8_t owned;
} TObjectLayout;
#pragma pack(pop)

VKL_STATIC_ASSERT(sizeof(TObject) == 18, "TObject is 18 bytes");
VKL_STATIC_ASSERT(sizeof(TObjectLayout) == 18, "the typed layout is 18 bytes");
VKL_STATIC_ASSERT(offsetof(TObject, payload) == 1, "payload follows the tag");
VKL_STATIC_ASSERT(offsetof(TObjectLayout, v) == VKL_OFF_INT, "int32 at 1");
VKL_STATIC_ASSERT(offsetof(TObjectLayout, v.r) == VKL_OFF_REAL, "double at 1");
VKL_STATIC_ASSERT(offsetof(TObjectLayout, v.i64) == VKL_OFF_INT64, "int64 at 1");
VKL_STATIC_ASSERT(offsetof(TObjectLayout, v.p) == VKL_OFF_PTR, "pointer at 1");
VKL_STATIC_ASSERT(offsetof(TObjectLayout, w.len) == VKL_OFF_LEN, "length at 9");
VKL_STATIC_ASSERT(offsetof(TObjectLayout, w.elem) == VKL_OFF_ELEM, "element offset at 9");
VKL_STATIC_ASSERT(offsetof(TObjectLayout, owned) == VKL_OFF_OWNED, "ownership flag at 17");
VKL_STATIC_ASSERT(sizeof(void*) == 8, "64-bit platform");

/* Opaque kernel types. */
typedef struct VKL_State VKL_State;             /* an interpreter state, the handlers' L */
typedef struct VKL_Table VKL_Table;             /* kind 5 */
typedef struct VKL_Matrix VKL_Matrix;           /* kind 17 */
typedef struct VKL_FixedMatrix VKL_FixedMatrix; /* kinds 27 and 28 */
typedef struct VKL_Stream VKL_Stream;
typedef struct VKL_StringList VKL_StringList;

/* A box carries a host value of kinds 7, 8, 9, 12-16, 19, 23, 26 and 36-38: data with a type
 * that knows how to release it. Boxes are reference counted; copying the cell shares the box. */
typedef struct VKL_BoxType {
  const char* name;
  /* Called when the last cell holding the box lets go; may be null. */
  void (*release)(VKL_State* L, void* data);
  /* Deferred values (kind 19) only: computes the value into `out` (a nil cell); 1 on success. */
  int (*compute)(VKL_State* L, void* data, TObject* out);
} VKL_BoxType;

typedef struct VKL_Box {
  void* data; /* first field: for a reference (26) the referenced cell */
  const VKL_BoxType* type;
  int64_t refcount;
} VKL_Box;

/* Every registered script function. Returns 1 when `result` was set, 0 to reject the call. */
typedef int (*VKL_Handler)(VKL_State* L, TObject* args, int nargs, TObject* result);

/* ---- inline accessors ---- */

static inline int vkl_tag(const TObject* o) { return o->tag; }
/* The tag read as a signed byte: a none value gives -1. */
static inline int vkl_kind(const TObject* o) { return (int)(int8_t)o->tag; }

static inline int32_t vkl_int(const TObject* o) {
  int32_t v;
  memcpy(&v, (const uint8_t*)o + VKL_OFF_INT, sizeof v);
  return v;
}
static inline double vkl_real(const TObject* o) {
  double v;
  memcpy(&v, (const uint8_t*)o + VKL_OFF_REAL, sizeof v);
  return v;
}
static inline int64_t vkl_int64(const TObject* o) {
  int64_t v;
  memcpy(&v, (const uint8_t*)o + VKL_OFF_INT64, sizeof v);
  return v;
}
static inline void* vkl_ptr(const TObject* o) {
  void* v;
  memcpy(&v, (const uint8_t*)o + VKL_OFF_PTR, sizeof v);
  return v;
}
static inline int32_t vkl_len(const TObject* o) {
  int32_t v;
  memcpy(&v, (const uint8_t*)o + VKL_OFF_LEN, sizeof v);
  return v;
}
static inline int64_t vkl_elem_offset(const TObject* o) {
  int64_t v;
  memcpy(&v, (const uint8_t*)o + VKL_OFF_ELEM, sizeof v);
  return v;
}
static inline int vkl_owned(const TObject* o) { return ((const uint8_t*)o)[VKL_OFF_OWNED]; }
static inline int32_t vkl_none_code(const TObject* o) { return vkl_int(o); }

static inline void vkl_put_tag(TObject* o, int tag) { o->tag = (uint8_t)tag; }
static inline void vkl_put_int(TObject* o, int32_t v) {
  o->tag = VKL_TINT;
  memcpy((uint8_t*)o + VKL_OFF_INT, &v, sizeof v);
}
static inline void vkl_put_real(TObject* o, double v) {
  o->tag = VKL_TREAL;
  memcpy((uint8_t*)o + VKL_OFF_REAL, &v, sizeof v);
}
static inline void vkl_put_int64(TObject* o, int64_t v) {
  o->tag = VKL_TINT64;
  memcpy((uint8_t*)o + VKL_OFF_INT64, &v, sizeof v);
}
static inline void vkl_put_nil(TObject* o) { memset(o, 0, sizeof *o), o->tag = VKL_TNIL; }
static inline void vkl_put_none(TObject* o, int32_t code) {
  vkl_put_nil(o);
  o->tag = VKL_TNONE;
  memcpy((uint8_t*)o + VKL_OFF_INT, &code, sizeof code);
}
static inline void vkl_put_ptr(TObject* o, int tag, const void* p) {
  o->tag = (uint8_t)tag;
  memcpy((uint8_t*)o + VKL_OFF_PTR, &p, sizeof p);
}
static inline void vkl_put_len(TObject* o, int32_t len) {
  memcpy((uint8_t*)o + VKL_OFF_LEN, &len, sizeof len);
}
static inline void vkl_put_elem_offset(TObject* o, int64_t off) {
  memcpy((uint8_t*)o + VKL_OFF_ELEM, &off, sizeof off);
}
static inline void vkl_put_owned(TObject* o, int owned) {
  ((uint8_t*)o)[VKL_OFF_OWNED] = (uint8_t)(owned != 0);
}

/* ---- kind tests on the tag alone ---- */

static inline int vkl_is_number_tag(int tag) { return tag < 2 || tag == VKL_TINT64; }
static inline int vkl_is_string_tag(int tag) { return tag == VKL_TSTRING || tag == VKL_TSTRING2; }
/* Kinds whose payload is a box. */
static inline int vkl_is_box_tag(int tag) {
  switch (tag) {
    case VKL_TOBJECT: case VKL_TGRAPH: case VKL_TGRAPHGROUP: case VKL_TFUNCTION:
    case VKL_TEXPRESSION: case VKL_TOBJECT14: case VKL_TOBJECT15: case VKL_TOBJECT16:
    case VKL_TDEFERRED: case VKL_TOBJECT23: case VKL_TREF: case VKL_TOBJECT36:
    case VKL_TOBJECT37: case VKL_TOBJECT38:
      return 1;
    default:
      return 0;
  }
}

/* A reference (26) is followed one level: the referenced cell, or the cell itself. */
static inline TObject* vkl_follow(const TObject* o) {
  if (o->tag == VKL_TREF) {
    const VKL_Box* box = (const VKL_Box*)vkl_ptr(o);
    if (box && box->data) return (TObject*)box->data;
  }
  return (TObject*)o;
}

static inline VKL_Table* vkl_table(const TObject* o) { return (VKL_Table*)vkl_ptr(o); }

#ifdef __cplusplus
}
#endif
#endif /* VKL_OBJECT_H */
