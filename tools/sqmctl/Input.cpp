#include "tools/sqmctl/Input.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include "tools/sqmctl/Command.h"

namespace sqmctl {

std::string contentOfInput(const std::string& file, std::size_t limit) {
  constexpr std::size_t kStep = std::size_t{1} << 16;
  const bool isStandardInput = file == "-";
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(
      isStandardInput ? nullptr : std::fopen(file.c_str(), "rbe"), [](std::FILE* each) { return std::fclose(each); });
  if (!isStandardInput && !opened) throw Problem(kBadInput, "cannot read " + file + ": " + lastReason());
  std::FILE* stream = isStandardInput ? stdin : opened.get();
  const std::string name = isStandardInput ? "standard input" : file;

  std::string content;
  for (std::size_t got = kStep; got == kStep;) {
    const std::size_t end = content.size();
    content.resize(end + kStep);
    got = std::fread(content.data() + end, 1, kStep, stream);
    content.resize(end + got);
    if (content.size() > limit) {
      throw Problem(kBadInput, name + " holds more than " + std::to_string(limit) + " bytes");
    }
  }
  if (std::ferror(stream) != 0) throw Problem(kBadInput, "cannot read " + name + ": " + lastReason());
  return content;
}

}  // namespace sqmctl
