#pragma once

namespace testing_support {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool underSanitizer = true;
#elif defined(__has_feature)
inline constexpr bool underSanitizer = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
inline constexpr bool underSanitizer = false;
#endif

}  // namespace testing_support
