#include "tools/collector/Options.h"

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <stdexcept>

#include "tools/collector/http/HostNames.h"

namespace collector {

namespace {

constexpr int kBadInput = 2;
constexpr std::size_t kMiB = std::size_t{1} << 20;

template <typename Number>
void addNumber(CLI::App& program, const char* name, Number& value, CLI::Range range, const char* type,
               const char* description) {
  program.add_option(name, value, description)->check(range)->type_name(type)->capture_default_str();
}

void addSeconds(CLI::App& program, const char* name, std::chrono::seconds& limit, const char* description) {
  program
      .add_option_function<int>(
          name, [&limit](const int& seconds) { limit = std::chrono::seconds(seconds); }, description)
      ->check(CLI::Range(1, 86400))
      ->type_name("SECONDS")
      ->default_str(std::to_string(limit.count()));
}

void addMebibytes(CLI::App& program, const char* name, std::size_t& bytes, int most, const char* description) {
  program
      .add_option_function<std::size_t>(
          name, [&bytes](const std::size_t& mebibytes) { bytes = mebibytes * kMiB; }, description)
      ->check(CLI::Range(1, most))
      ->type_name("MIB")
      ->default_str(std::to_string(bytes / kMiB));
}

/// Where what arrives is stored, and what is done when it cannot be.
void addStorageOptions(CLI::App& program, Options& options) {
  program
      .add_option("--database", options.storage.database,
                  "Database that keeps what arrives: a file, made when it is missing, or postgresql://... Without it: "
                  "a temporary file, which is gone when the server ends")
      ->type_name("FILE");
  addNumber(program, "--keep", options.storage.mostRequests,
            CLI::Range(std::int64_t{0}, std::numeric_limits<std::int64_t>::max()), "NUMBER",
            "Keep that many requests, the latest; 0 keeps all");
  addNumber(program, "--keep-days", options.storage.mostDays, CLI::Range(0, 400), "NUMBER",
            "Keep what arrived on that many days, today's included; 0 keeps all");
  addSeconds(program, "--patience", options.keeping.patience,
             "Try for so long to store a body that has arrived, and then reset its connection: less than clients wait "
             "for an answer");
  addMebibytes(program, "--in-flight", options.keeping.bytesInFlight, 65536,
               "Hold that much of bodies and their records in memory; large ones beyond it wait");
  program.add_flag("!--no-sync", options.storage.syncs,
                   "Answer before the data is on the disk: a loss of power may take the latest bodies");
}

/// Who may use the server, and under which certificate.
void addAccessOptions(CLI::App& program, Options& options) {
  program
      .add_option("--token-file", options.tokenFile,
                  "Serve only requests with a token of this file: lines of a name, its rights (write, read, metrics, "
                  "faults, with commas between them) and the token. SIGHUP has it read again")
      ->type_name("FILE");
  program.add_flag("--open", options.isOpen, "Let other machines read and write without a token");
  auto* const certificate =
      program.add_option("--tls-certificate", options.tls.certificate,
                         "Serve https with this certificate and its chain (PEM). SIGHUP has it read again");
  auto* const key = program.add_option("--tls-key", options.tls.key, "The private key of the certificate (PEM)");
  certificate->type_name("FILE")->needs(key);
  key->type_name("FILE")->needs(certificate);
}

/// The resources that clients may use.
void addLimitOptions(CLI::App& program, Options& options) {
  addMebibytes(program, "--largest-body", options.limits.largestBody, 900, "Refuse longer bodies with status 413");
  addNumber(program, "--connections", options.limits.connections, CLI::Range(1, 1'000'000), "NUMBER",
            "Connections at a time. Beyond it, the one that has waited longest for a request is closed");
  addNumber(program, "--posts", options.limits.posts, CLI::Range(1, 10'000), "NUMBER",
            "Take that many posts at a time; others wait");
  addNumber(program, "--connections-per-address", options.limits.connectionsOfAddress, CLI::Range(0, 1'000'000),
            "NUMBER", "Connections of one client address at a time. Further ones are reset; 0 sets no limit");
  addNumber(program, "--requests-per-address", options.limits.requestsOfAddress, CLI::Range(0, 1'000'000), "NUMBER",
            "Requests of one client address in a second. Further ones wait, at most 10 s; 0 sets no limit");
  addNumber(program, "--watchers", options.watchers, CLI::Range(0, 900), "NUMBER",
            "Serve /_events to that many clients at a time");
  addSeconds(program, "--idle", options.limits.keepAlive, "Close a connection that has no request for so long");
  addSeconds(program, "--stall", options.limits.stall, "Give a client up that sends or takes nothing for so long");
  addSeconds(program, "--request-time", options.limits.request,
             "Give a client up whose request takes longer to arrive");
}

}  // namespace

int readOptions(int argc, char** argv, Options& options) {
  CLI::App program{
      "A collection server: keeps what is posted to it in an SQLite database, takes it apart, and answers 200.\n"
      "Its page is at /, its data is at /_requests, /_records and /_events as JSON.\n"};
  program.name("sqm-collector");
  std::vector<std::string> rules;
  std::string fields;
  program.add_option("--port", options.port, "Port to listen on; 0 takes a free one")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  program
      .add_option("--listen", options.address,
                  "Address to listen on. One that other machines reach needs --token-file or --open")
      ->type_name("ADDRESS")
      ->capture_default_str();
  program
      .add_option("--fail", rules,
                  "Something to do wrong, as in /sqm:status=500:once. PATH is as posted, or *; FAULT is status=CODE, "
                  "delay=SECONDS, reset=before, reset=inside or cut; TIMES is once, a number or always. Repeatable")
      ->type_name("PATH:FAULT[:TIMES]")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  program
      .add_option("--fields", fields,
                  "What the fields of records mean, for clients with names of their own: a file such as the "
                  "subcommand fields prints")
      ->type_name("FILE");
  const CLI::App* const printing =
      program.add_subcommand("fields", "Print the default of --fields, as a file to edit, and end");
  CLI::App* const migrating = program.add_subcommand(
      "migrate", "Copy a database to another, or go on with it, and end; no server may use the first");
  migrating->add_option("--from", options.migrateFrom, "The database to copy")->type_name("FILE")->required();
  migrating->add_option("--to", options.storage.database, "The database that gets the copy")
      ->type_name("DATABASE")
      ->required();
  addStorageOptions(program, options);
  addAccessOptions(program, options);
  program.add_flag("--quiet", options.isQuiet, "Print the address alone");
  addLimitOptions(program, options);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : kBadInput;
  }
  if (printing->parsed()) {
    std::fputs(FieldMapping::defaultText().c_str(), stdout);
    return 0;
  }
  const char* option = "--fail";
  try {
    for (const std::string& rule : rules) options.faults.push_back(parseFaultRule(rule));
    option = "--fields";
    if (!fields.empty()) options.fields = FieldMapping::ofFile(fields);
    option = "--listen";
    if (!isLoopback(options.address) && options.tokenFile.empty() && !options.isOpen) {
      throw std::invalid_argument("'" + options.address +
                                  "' lets other machines in: give --token-file, or --open to let all of them read and "
                                  "write");
    }
  } catch (const std::invalid_argument& error) {
    std::fprintf(stderr, "sqm-collector: %s: %s\n", option, error.what());
    return kBadInput;
  }
  options.limits.reads += options.watchers;
  options.keeping.bodies = options.limits.posts;
  return -1;
}

}  // namespace collector
