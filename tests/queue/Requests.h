#pragma once

#include <string>

#include "sqm/common/UploadRequest.h"

/// The archive of the upload queue on a `FakeHost`.
inline constexpr const char* kArchive = "/home/tester/application/QFRecordUploader.plist";

inline constexpr const char* kUrl = "https://collect.example/q";

inline sqm::UploadRequest requestOf(const std::string& data) { return {kUrl, data}; }
