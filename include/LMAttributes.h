#pragma once

/**
 * Attributes of the public headers.
 *
 * LM_API puts a class or function into the library's dynamic symbol table; LM_LOCAL keeps a member
 * of such a class out of it. LM_GUARDED_BY names the mutex that must be held to touch a member, and
 * LM_REQUIRES the one to call it; clang's -Wthread-safety checks both where libbase's annotations are
 * installed.
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
