#pragma once

#include <string_view>

namespace sqm::platform {

// The layout in which lists are written as XML. On disk: not to change.

inline constexpr std::string_view kXmlBegin =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
inline constexpr std::string_view kXmlEnd = "</plist>\n";

inline constexpr std::string_view kArrayBegin = "<array>\n";
inline constexpr std::string_view kArrayEnd = "</array>\n";
inline constexpr std::string_view kEmptyArray = "<array/>\n";
inline constexpr std::string_view kStringBegin = "\t<string>";
inline constexpr std::string_view kStringEnd = "</string>\n";

}  // namespace sqm::platform
