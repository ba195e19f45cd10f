#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace sqm {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

/// A file of the C library, closed at the end of its life; null when it could not be opened. No program that the
/// process starts meanwhile inherits it.
using StandardFile = std::unique_ptr<std::FILE, CloseFile>;

inline StandardFile openFile(const std::string& path, const char* mode) {
  // The C library would take what stands before a NUL for the path, which is somebody else's.
  if (path.find('\0') != std::string::npos) return nullptr;
  return StandardFile(std::fopen(path.c_str(), (std::string(mode) + "e").c_str()));
}

}  // namespace sqm
