#pragma once

#include <string_view>

namespace sqm {

// The outcomes of uploads. The object of each notification is the uploader.

/// Of `SQMUpdaterAgent`: its transaction completed, whatever the response's status.
inline constexpr std::string_view TrelkSQMUploadSuccess = "TrelkSQMUploadSuccess";
/// Of `SQMUpdaterAgent`: its transaction failed or timed out.
inline constexpr std::string_view TrelkSQMUploadFailure = "TrelkSQMUploadFailure";
/// Of the directory uploader: the folder has been sent and holds nothing more.
inline constexpr std::string_view TrelkSQMUploadComplete = "TrelkSQMUploadComplete";
/// Of the directory uploader: a response other than 200, an error or a time-out.
inline constexpr std::string_view TrelkSQMUploadError = "TrelkSQMUploadError";

}  // namespace sqm
