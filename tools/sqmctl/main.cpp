// sqmctl: shows, sends and drives what the library stores. It uses the library as any host does.

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/DeliveryOptions.h"
#include "tools/support/Terminal.h"

namespace sqmctl {

namespace {

constexpr std::array kCommands = {addStatus,  addShow,      addDocuments,   addUpload, addQueue,
                                  addRefused, addDirectory, addDiagnostics, addFields, addPlay};

/// The command with the subcommands that the parser recognised: "sqmctl queue add".
std::string commandOf(const CLI::App& program) {
  std::string command = program.get_name();
  for (const CLI::App* chosen : program.get_subcommands()) return command + " " + commandOf(*chosen);
  return command;
}

/// The parser's error. For an unknown subcommand the parser reports a missing one, so the unknown word is named here.
std::string reasonOf(const CLI::App& program, const CLI::ParseError& error) {
  const auto unknown = program.remaining(/*recurse=*/true);
  const bool isMissing = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
  return isMissing && !unknown.empty() ? "'" + unknown.front() + "' is not expected here" : error.what();
}

int run(int argc, char** argv) {
  CLI::App program{"Shows what the service-quality-metrics library keeps, sends it, and drives the library."};
  program.name("sqmctl");
  program.set_version_flag("--version", "sqmctl " SQM_VERSION);
  program.require_subcommand(1);
  program.fallthrough();  // these options may also follow the subcommand
  Invocation invocation;
  const CLI::Validator isGiven([](const std::string& value) { return value.empty() ? "is empty" : std::string(); }, "");
  program.add_option("--home", invocation.home, "Stands for the user's home directory (default: the user's own)")
      ->option_text("FOLDER")
      ->check(isGiven);
  program
      .add_option("--resources", invocation.resources,
                  "Folder of SQMFieldNames.plist (default: the sample that comes with the tool)")
      ->option_text("FOLDER")
      ->check(isGiven);
  addDeliveryOptions(program, invocation);
  for (const auto& add : kCommands) add(program, invocation);

  try {
    program.parse(argc, argv);
    return invocation.status;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return program.exit(error);  // --help, --version
    remark(reasonOf(program, error) + "\nRun '" + commandOf(program) + " --help' to see what is expected.");
    return kBadInput;
  } catch (const Problem& problem) {
    remark(problem.what());
    return problem.status();
  }
}

}  // namespace

std::string lastReason() { return std::generic_category().message(errno); }

void remark(const std::string& text) {
  const tools::Terminal terminal(stderr);
  terminal.line(terminal.shown("sqmctl: " + text, /*keepsLines=*/true));
}

void complain(Invocation& invocation, const std::string& text) {
  remark(text);
  invocation.status = kFailure;
}

std::filesystem::path resourcesOf(const Invocation& invocation) {
  if (!invocation.resources.empty()) return invocation.resources;
  const std::filesystem::path programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::filesystem::path installed = programs.parent_path() / "share" / "sqm";
  std::error_code unknown;  // in a folder that this user may not enter
  return std::filesystem::exists(installed / "SQMFieldNames.plist", unknown) ? installed : programs;
}

}  // namespace sqmctl

int main(int argc, char** argv) {
  int status = sqmctl::kFailure;
  try {
    status = sqmctl::run(argc, argv);
  } catch (const std::exception& problem) {
    sqmctl::remark(problem.what());
  }
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  std::fputs("sqmctl: the output could not be written\n", stderr);
  return sqmctl::kFailure;
}
