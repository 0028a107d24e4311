// Whether the program runs under a sanitizer, whose allocators, locks and signal handlers exclude some tests.
#pragma once

namespace kelvo::Reliability {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KELVO_IS_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(KELVO_IS_SANITIZED)
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif

}  // namespace kelvo::Reliability
