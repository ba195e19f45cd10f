#pragma once

#include <cstddef>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <pugixml.hpp>

#include "bench/Comparison.h"

namespace bench {

/// The least that reading an XML property list takes: the file's bytes, and the parser, set as the library sets it. The
/// result keeps both from being optimised away.
inline bool readAndParse(const std::string& path) {
  constexpr unsigned kOptions =
      pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol | pugi::parse_ws_pcdata | pugi::parse_embed_pcdata;
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct ::stat status {};
  require(file >= 0 && ::fstat(file, &status) == 0, "a property list cannot be opened");
  const auto size = static_cast<std::size_t>(status.st_size);
  const auto bytes = std::make_unique_for_overwrite<char[]>(size);
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t got = ::read(file, bytes.get() + filled, size - filled);
    require(got > 0, "a property list cannot be read");
    filled += static_cast<std::size_t>(got);
  }
  ::close(file);
  pugi::xml_document document;
  return document.load_buffer_inplace(bytes.get(), size, kOptions);
}

}  // namespace bench
