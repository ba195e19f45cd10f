#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/sqmctl/Blob.h"
#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/Input.h"
#include "tools/sqmctl/Output.h"

namespace sqmctl {

namespace {

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
