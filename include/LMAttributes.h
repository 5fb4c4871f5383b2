#pragma once

/**
 * @file
 * Attributes of the public headers. Clang's -Wthread-safety checks those about locks where libbase's
 * annotations are installed.
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

#if defined(__clang__) && __has_include(<android-base/thread_annotations.h>)
#include <android-base/thread_annotations.h>
#define LM_GUARDED_BY(lock) GUARDED_BY(lock)
#define LM_REQUIRES(lock) REQUIRES(lock)
#else
#define LM_GUARDED_BY(lock)
#define LM_REQUIRES(lock)
#endif
