#pragma once

#include <version>

/**
 * @file
 * Attributes of the public headers.
 *
 * @def LM_API
 * Puts a class or function into the library's dynamic symbol table.
 *
 * @def LM_LOCAL
 * Keeps a member of such a class out of it.
 *
 * @def LM_GUARDED_BY
 * Names the mutex that must be held to touch a member.
 *
 * @def LM_REQUIRES
 * Names the mutex that must be held to call a member.
 */

#define LM_API [[gnu::visibility("default")]]
#define LM_LOCAL [[gnu::visibility("hidden")]]

// Clang's -Wthread-safety knows std::mutex only from a libc++ that was asked to annotate it.
#if defined(__clang__) && defined(_LIBCPP_VERSION) && \
    defined(_LIBCPP_ENABLE_THREAD_SAFETY_ANNOTATIONS)
#define LM_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define LM_THREAD_ANNOTATION(x)
#endif
#define LM_GUARDED_BY(lock) LM_THREAD_ANNOTATION(guarded_by(lock))
#define LM_REQUIRES(lock) LM_THREAD_ANNOTATION(exclusive_locks_required(lock))
