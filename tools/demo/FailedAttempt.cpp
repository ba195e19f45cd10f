#include <cstddef>
#include <fstream>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/demo/Stage.h"

namespace demo {

namespace {

/// The first line that a command prints.
std::string lineFrom(const std::vector<std::string>& command) {
  tools::Process process(command, /*readsOutput=*/true);
  std::string line = process.readLine();
  process.wait();
  return line;
}

}  // namespace

bool playFailedAttempt(const Stage& stage) {
  constexpr std::size_t kWidth = 100;
  const Shown& shown = stage.shown;

  shown.title("A connection attempt has failed; its report, for the user to send in");
  const std::string report = lineFrom({(stage.programs / "06_diagnostics").string()});
  for (std::size_t at = 0; at < report.size(); at += kWidth) shown.note("  " + report.substr(at, kWidth));

  shown.title("The same, by base64 -d | gunzip");
  const std::string file = stage.home + "/report";
  std::ofstream(file) << report;
  const std::string text = lineFrom({"/bin/sh", "-c", "base64 -d \"$0\" | gunzip", file});
  shown.json(text);

  const auto value = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
  return value.is_object() && value.value("/Trace/Error/Details"_json_pointer, "") == "Timeout";
}

}  // namespace demo
