/* Coded functions: a descriptor names a function's number, argument counts and kinds and its
 * implementation routine; the interpreter's generic driver sys_anydoubleparam (libvklinterp.so)
 * checks a call against it, reads the arguments and calls the routine. */
#ifndef VKL_CODED_H
#define VKL_CODED_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Argument kind codes of a descriptor's kind list. A reference is followed one level; wherever
 * a narrow string is accepted, a binary is too (as its bytes). */
enum {
  VKL_ARG_NUMBER = 0,      /* a number (0, 1, 20, or a fixed-matrix element) */
  VKL_ARG_BYTES = 1,       /* a narrow string or binary, read as raw bytes */
  VKL_ARG_STRINGS = 2,     /* a table whose values are all strings (either width) */
  VKL_ARG_COMMON_STR = 3,  /* compared in a common width: any kind passes, the routine
                              answers one that is no string */
  VKL_ARG_WSTRING = 4,     /* a string of either width, read wide (the routine converts) */
  VKL_ARG_ANY_STRING = 5,  /* a string of either width; the routine dispatches on it */
  VKL_ARG_NUMBERS = 6      /* a table the routine reads as a list of numbers, or a number */
};

/* An implementation routine: `args` holds the inputs, then the by-reference outputs; returns 1
 * on success, 0 to fail the call. The extension modules' CALL_VALUEANY has this signature. */
typedef int (*VKL_CodedRoutine)(VKL_State* L, TObject* args, TObject* result, int code);

typedef struct VKL_CodedDescriptor {
  int32_t code;              /* the function's number within its group */
  int32_t reserved1;         /* 0 */
  int32_t reserved2;         /* 0 */
  const int32_t* argKinds;   /* one VKL_ARG_* per input; null: every input is a number */
  int32_t hasResult;         /* 0: a procedure answering only through its outputs */
  int32_t inputs;            /* input arguments */
  int32_t outputs;           /* by-reference output arguments after the inputs */
  int32_t reserved3;         /* 0 */
  VKL_CodedRoutine routine;
  int32_t numeric;           /* 1: numbers in and out; a table first argument is applied
                                element by element, keys kept */
  /* Optional trailing inputs (numeric functions): with maxArgs > 0 a call may pass from minArgs
   * to maxArgs inputs; omitted ones are taken from `defaults` (index = argument position), or
   * 0 when `defaults` is null, so the routine always sees maxArgs inputs (a kind list then has
   * maxArgs entries). maxArgs 0: exactly `inputs` inputs. */
  const double* defaults;
  int32_t minArgs;
  int32_t maxArgs;
} VKL_CodedDescriptor;

/* Runs a call of a coded function: checks the count and the kinds against `d`, calls the
 * routine (element by element over a table first argument when `d->numeric`; a function with
 * outputs refuses a table), and returns its answer; 0 when the call does not match. The
 * routine writes the by-reference outputs into their argument cells (references followed). */
VKL_API int sys_anydoubleparam(VKL_State* L, TObject* args, int nargs, TObject* result,
                               const VKL_CodedDescriptor* d);

#ifdef __cplusplus
}
#endif
#endif /* VKL_CODED_H */
