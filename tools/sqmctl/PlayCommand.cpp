#include "tools/sqmctl/Command.h"

namespace sqmctl {

void addPlay(CLI::App& program, Invocation& invocation) {
  CLI::App* play = program.add_subcommand("play", "Drives the library with a scenario file");
  play->callback([&invocation] { invocation.status = kFailure; });
}

}  // namespace sqmctl
