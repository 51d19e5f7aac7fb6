/* sanitizer: HAS_SANITIZER where one brings a heap of its own, so that memory counts for nothing. */
#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HAS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define HAS_SANITIZER 1
#endif
#endif

#if defined(__SANITIZE_THREAD__)
#define IS_THREAD_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define IS_THREAD_SANITIZED 1
#endif
#endif
#ifndef IS_THREAD_SANITIZED
#define IS_THREAD_SANITIZED 0
#endif
