// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

/// Annotations for Clang's thread safety analysis. They mean something only where the standard
/// library's mutexes are annotated too, which is libc++ with the macro below; anywhere else the
/// analysis would report nonsense, so they vanish.
#if defined(__clang__) && defined(_LIBCPP_ENABLE_THREAD_SAFETY_ANNOTATIONS)
#define CORVEL_HUB_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define CORVEL_HUB_THREAD_ANNOTATION(x)
#endif

/// The class is a mutex.
#define CORVEL_HUB_CAPABILITY(x) CORVEL_HUB_THREAD_ANNOTATION(capability(x))
/// The member may be touched only while the given mutex is held.
#define CORVEL_HUB_GUARDED_BY(x) CORVEL_HUB_THREAD_ANNOTATION(guarded_by(x))
/// The caller holds the given mutex.
#define CORVEL_HUB_REQUIRES(...) CORVEL_HUB_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
/// The caller does not hold the given mutex, because the function takes it.
#define CORVEL_HUB_EXCLUDES(...) CORVEL_HUB_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
/// The function returns with the given mutex held.
#define CORVEL_HUB_ACQUIRE(...) CORVEL_HUB_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
/// The function releases the given mutex, which the caller holds.
#define CORVEL_HUB_RELEASE(...) CORVEL_HUB_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
/// The function returns with the given mutex held, or it was held already.
#define CORVEL_HUB_ASSERTS_HELD(...) CORVEL_HUB_THREAD_ANNOTATION(assert_capability(__VA_ARGS__))
/// This mutex is taken after the given one, never before it.
#define CORVEL_HUB_ACQUIRED_AFTER(...) CORVEL_HUB_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
/// The function is not analysed; the line above it says why.
#define CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS CORVEL_HUB_THREAD_ANNOTATION(no_thread_safety_analysis)
