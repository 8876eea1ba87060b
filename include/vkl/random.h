/* The interpreter's uniform random generator (libvklinterp.so).
 *
 * Each thread has its own generator (xoshiro256**), seeded from the operating system the first
 * time the thread draws. A script makes its draws repeatable by writing the system parameter
 * "randseed" (setsysparam("randseed", 42)): that seeds the generator of the thread running the
 * script. The same seed always gives the same sequence.
 */
#ifndef VKL_RANDOM_H
#define VKL_RANDOM_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A uniform double in [0, 1), with 53 random bits. */
VKL_API double Random(void);
/* A uniform integer in [0, range - 1]; 0 when range <= 0. Unbiased for every range. */
VKL_API int64_t RandomInt(int64_t range);
/* Restarts the calling thread's generator from a seed. */
VKL_API void RandSeed(uint64_t seed);

#ifdef __cplusplus
}
#endif
#endif /* VKL_RANDOM_H */
