// sqmctl: what the library keeps and what it sends, on the command line. A host like any other.

#include <array>
#include <cstdio>
#include <exception>

#include "tools/sqmctl/Command.h"

namespace {

constexpr std::array kCommands = {sqmctl::addPlay};

}  // namespace

int main(int argc, char** argv) {
  CLI::App program{"Drives the service-quality-metrics library from the command line, and shows what it keeps."};
  program.name("sqmctl");
  program.require_subcommand(1);
  sqmctl::Invocation invocation;
  program.add_option("--home", invocation.home, "Stands for the user's home directory (default: the user's own)");
  program.add_option("--resources", invocation.resources,
                     "Folder of SQMFieldNames.plist (default: the sample that comes with the tool)");
  for (const auto& add : kCommands) add(program, invocation);
  try {
    program.parse(argc, argv);
    return invocation.status;
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? sqmctl::kSuccess : sqmctl::kBadInput;
  } catch (const sqmctl::Problem& problem) {
    std::fprintf(stderr, "sqmctl: %s\n", problem.what());
    return problem.status();
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "sqmctl: %s\n", problem.what());
    return sqmctl::kFailure;
  }
}
