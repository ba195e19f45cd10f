#pragma once

#include <string>
#include <system_error>
#include <vector>

#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform {

/// The names in a folder that was just opened, without "." and "..", in the order of the file system. No names when
/// the folder cannot be listed to its end.
std::error_code listNames(FileOperations& files, const File& folder, std::vector<std::string>& names);

/// Removes a file, a link, or a folder with all that is in it. Links are removed and never followed. Continues after an
/// entry that cannot be removed; the result is the first failure. Needs the stack of one call and two descriptors, at
/// any depth.
std::error_code removeTree(FileOperations& files, const std::string& path);

}  // namespace sqm::platform
