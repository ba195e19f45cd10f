#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <zlib.h>

#include <nlohmann/json.hpp>

#include "sqm/common/internal/Base64.h"
#include "sqm/common/internal/Utf8.h"

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/Input.h"
#include "tools/sqmctl/Output.h"

namespace sqmctl {

namespace {

constexpr std::string_view kBase64Layer = "layer 1 (Base64) is invalid: ";
constexpr std::string_view kGzipLayer = "layer 2 (gzip) is invalid: ";
constexpr std::string_view kJsonLayer = "layer 3 (JSON) is invalid: ";

[[noreturn]] void fail(std::string_view layer, const std::string& text) {
  throw Problem(kBadInput, std::string(layer) + text);
}

// The three layers of a report, from the outermost to the innermost. Each function throws Problem with the layer and
// the byte when its input is invalid.

/// Decodes the Base64. Ignores white space around it.
std::string compressedOf(std::string_view blob) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t begin = std::min(blob.find_first_not_of(kBlanks), blob.size());
  blob = blob.substr(begin, blob.find_last_not_of(kBlanks) + 1 - begin);
  if (blob.empty()) fail(kBase64Layer, "it is empty; a report that was too long is empty");
  std::size_t validLength = 0;
  auto bytes = sqm::bytesOfBase64(blob, validLength);
  if (bytes) return *std::move(bytes);
  if (validLength < blob.size() && blob[validLength] != '=') {
    const std::string_view rest = blob.substr(validLength);
    fail(kBase64Layer, "invalid character '" + tools::visible(rest.substr(0, sqm::utf8CharacterAt(rest).length)) +
                           "' at byte " + std::to_string(begin + validLength));
  }
  fail(kBase64Layer, "unexpected end at byte " + std::to_string(begin + blob.size()));
}

/// Decompresses the gzip. A text of more than `limit` bytes is a Problem; no more than that is ever in memory.
std::string textOf(std::string_view compressed, std::size_t limit) {
  constexpr int kGzip = 16 + MAX_WBITS;
  constexpr std::size_t kStep = std::size_t{1} << 16;
  ::z_stream stream{};
  if (inflateInit2(&stream, kGzip) != Z_OK) throw Problem(kFailure, "there is not enough memory");
  const std::unique_ptr<::z_stream, int (*)(::z_stream*)> owner(&stream, &inflateEnd);
  const auto place = [&] { return " at byte " + std::to_string(stream.total_in); };

  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast,cppcoreguidelines-pro-type-reinterpret-cast): zlib only reads
  stream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(compressed.data()));
  stream.avail_in = static_cast<uInt>(std::min<std::size_t>(compressed.size(), std::numeric_limits<uInt>::max()));
  std::string text;
  int result = Z_OK;
  while (result == Z_OK) {
    const std::size_t end = text.size();
    text.resize(end + std::min(kStep, limit + 1 - end));
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): zlib's bytes are unsigned
    stream.next_out = reinterpret_cast<Bytef*>(text.data() + end);
    stream.avail_out = static_cast<uInt>(text.size() - end);
    result = inflate(&stream, Z_NO_FLUSH);
    text.resize(text.size() - stream.avail_out);
    if (text.size() > limit) {
      fail(kGzipLayer, "it decompresses to more than " + std::to_string(limit) + " bytes; see --limit");
    }
  }
  if (result == Z_BUF_ERROR) fail(kGzipLayer, "unexpected end" + place());
  if (result == Z_MEM_ERROR) throw Problem(kFailure, "there is not enough memory");
  if (result != Z_STREAM_END) fail(kGzipLayer, (stream.msg == nullptr ? "damaged data" : stream.msg) + place());
  if (stream.total_in != compressed.size()) fail(kGzipLayer, "more data after the end" + place());
  return text;
}

/// Parses the JSON. A text with more than 100 levels is a Problem.
Json reportOf(std::string_view text) {
  constexpr int kDeepest = 100;
  try {
    return Json::parse(text, [](int depth, Json::parse_event_t, Json&) {
      if (depth > kDeepest) fail(kJsonLayer, "more than " + std::to_string(kDeepest) + " levels");
      return true;
    });
  } catch (const Json::parse_error& error) {
    fail(kJsonLayer, "unexpected text at byte " + std::to_string(error.byte == 0 ? 0 : error.byte - 1));
  }
}

struct DecodeOptions {
  std::string file = "-";
  std::size_t limit = std::size_t{1} << 24;
  bool isRaw = false;
};

/// Replaces the strings that hold the JSON text of an array by the array. Any other string stays.
void expandArrays(Json& report) {
  const Json::json_pointer kAuth("/Trace/Auth");
  if (!report.is_object() || !report.contains(kAuth) || !report[kAuth].is_object()) return;
  for (const char* const key : {"Dis", "LoginPoll"}) {
    Json& auth = report[kAuth];
    if (!auth.contains(key) || !auth[key].is_string() || auth[key].get_ref<const std::string&>().empty()) continue;
    try {
      auth[key] = reportOf(auth[key].get<std::string>());
    } catch (const Problem&) {
      continue;
    }
  }
}

void decode(const DecodeOptions& options) {
  // The Base64 of a text that does not compress, and some white space.
  const std::string blob = contentOfInput(options.file, 2 * options.limit + 4096);
  const std::string text = textOf(compressedOf(blob), options.limit);
  Json report = reportOf(text);
  const tools::Terminal terminal(stdout);
  if (options.isRaw) return terminal.line(terminal.shown(text));
  expandArrays(report);
  printJson(terminal, report);
}

}  // namespace

void addDiagnostics(CLI::App& program, Invocation&) {
  CLI::App* diagnostics = program.add_subcommand("diagnostics", "The diagnostics report: decode");
  diagnostics->require_subcommand(1);
  const auto options = std::make_shared<DecodeOptions>();
  CLI::App* command = diagnostics->add_subcommand("decode", "A report, from Base64 of gzip of JSON to readable JSON");
  command->add_option("FILE", options->file, "The file of the report (default: -, standard input)")->option_text(" ");
  command->add_flag("--raw", options->isRaw, "Prints the JSON text unchanged");
  command->add_option("--limit", options->limit, "The length of the longest text to decompress (default: 16777216)")
      ->option_text("BYTES")
      ->check(CLI::Range(std::size_t{1}, std::size_t{1} << 32U));
  command->footer(R"(Without --raw, "Dis" and "LoginPoll" are printed as the arrays that their strings hold.)");
  command->callback([options] { decode(*options); });
}

}  // namespace sqmctl
