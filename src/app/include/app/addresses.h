// Contact addresses. Packagers set both when configuring the build.
#pragma once

inline constexpr const char* kHomepage = VELMORA_HOMEPAGE;         // web address
inline constexpr const char* kSupportMail = VELMORA_SUPPORT_MAIL;  // mail address for reports
