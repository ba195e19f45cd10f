#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sqm/common/FieldNameTable.h"
#include "sqm/common/internal/Utf8.h"
#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/records/internal/RecordKinds.h"

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/Output.h"

namespace sqmctl {

namespace {

using sqm::FieldNameTable;
using sqm::RecordKind;
using sqm::Row;
using sqm::Rows;
using Names = sqm::TextArray;

constexpr std::array kKinds = {&sqm::kClientKind,        &sqm::kWiFiConnectionKind,     &sqm::kMBConnectionKind,
                               &sqm::kDeviceKind,        &sqm::kEthernetConnectionKind, &sqm::kApplicationKind,
                               &sqm::kUserAcceptanceKind};

/// The origin of a name in a record.
struct Source {
  const Row* row;
  std::optional<std::size_t> entry;  ///< of the table; otherwise it is fixed
  std::string_view fixedName;
};

/// Adds the names that the rows write, and those under which they look up their values.
void addSources(std::vector<Source>& sources, Rows rows) {
  for (const Row& row : rows) {
    const bool isValue = row.kind == Row::Kind::value || row.kind == Row::Kind::timeStamped;
    const bool isNamed = row.kind != Row::Kind::section;
    if (isNamed && row.fixedName != nullptr) sources.push_back({&row, std::nullopt, row.fixedName->name()});
    if (isValue || (isNamed && row.fixedName == nullptr)) sources.push_back({&row, row.entry, {}});
    addSources(sources, row.rows);
  }
}

std::string originOf(const Source& source) {
  return source.entry ? "entry " + std::to_string(*source.entry) : "the record itself";
}

std::vector<Source> sourcesOf(const RecordKind& kind) {
  std::vector<Source> sources;
  addSources(sources, kind.layout);
  return sources;
}

std::optional<std::string> nameOf(const Names& names, std::size_t entry) {
  return entry < names.size() ? std::optional<std::string>(names[entry]) : std::nullopt;
}

/// The kind's name and sub-type, as a filter rule gives them.
std::string titleOf(const RecordKind& kind, const Names& names) {
  std::string title(kind.name);
  if (kind.subType) title.append("/").append(*kind.subType);
  if (kind.subTypeEntry) {
    title += "/" + nameOf(names, *kind.subTypeEntry).value_or("(entry " + std::to_string(*kind.subTypeEntry) + ")");
  }
  return title;
}

bool writes(const RecordKind& kind, std::size_t entry) {
  const std::vector<Source> sources = sourcesOf(kind);
  return std::any_of(sources.begin(), sources.end(), [&](const Source& source) { return source.entry == entry; });
}

struct Range {
  char32_t first;
  char32_t last;
};

/// [4] NameStartChar
constexpr Range kStart[] = {{':', ':'},       {'A', 'Z'},       {'_', '_'},       {'a', 'z'},
                            {0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
                            {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
                            {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF}};

/// The characters that [4a] NameChar adds to it.
constexpr Range kInside[] = {{'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <std::size_t size>
bool isIn(const Range (&ranges)[size], char32_t character) {
  return std::any_of(std::begin(ranges), std::end(ranges),
                     [&](const Range& range) { return character >= range.first && character <= range.last; });
}

/// The byte at which `text`, which is well-formed UTF-8, stops being a Name of XML 1.0 (fifth edition, production
/// [5]); nothing when all of it is one. An empty text is none.
std::optional<std::size_t> endOfXmlName(std::string_view text) {
  if (text.empty()) return 0;
  for (std::size_t at = 0; at < text.size();) {
    const sqm::Utf8Character next = sqm::utf8CharacterAt(text.substr(at));
    const bool isName = next.code && (isIn(kStart, *next.code) || (at > 0 && isIn(kInside, *next.code)));
    if (!isName) return at;
    at += next.length;
  }
  return std::nullopt;
}

/// The fault of an entry, as text to append to its number; empty when there is none.
std::string faultOf(std::optional<std::string_view> name) {
  if (!name) return " is no string";
  const auto end = endOfXmlName(*name);
  if (!end) return "";
  if (name->empty()) return " is empty";
  const std::size_t bytes = sqm::utf8CharacterAt(name->substr(*end)).length;
  return ": '" + std::string(*name) + "' is no name that XML allows: '" + std::string(name->substr(*end, bytes)) +
         "' at byte " + std::to_string(*end);
}

void addFaultsOfNames(std::vector<std::string>& faults, const Names& names) {
  for (std::size_t entry = 0; entry < std::min(names.size(), FieldNameTable::kFields); ++entry) {
    const std::string fault = faultOf(names[entry]);
    if (!fault.empty()) faults.push_back("entry " + std::to_string(entry) + fault);
  }
}

/// Fields of one record with the same name share one value, and a reader cannot distinguish their elements.
void addDuplicates(std::vector<std::string>& faults, const Names& names) {
  for (const RecordKind* kind : kKinds) {
    std::map<std::string, Source> seen;
    for (const Source& source : sourcesOf(*kind)) {
      const auto name = source.entry ? nameOf(names, *source.entry) : std::string(source.fixedName);
      if (!name) continue;
      const auto [earlier, isNew] = seen.emplace(*name, source);
      if (isNew || earlier->second.row == source.row) continue;
      faults.push_back("'" + *name + "' stands twice in " + titleOf(*kind, names) + ": from " +
                       originOf(earlier->second) + " and from " + originOf(source));
    }
  }
}

std::vector<std::string> faultsOf(const Names& names) {
  std::vector<std::string> faults;
  if (names.size() != FieldNameTable::kFields) {
    faults.push_back("there are " + tools::plural(names.size(), "name") + " in place of " +
                     std::to_string(FieldNameTable::kFields));
  }
  addFaultsOfNames(faults, names);
  addDuplicates(faults, names);
  return faults;
}

void print(const tools::Terminal& terminal, const Names& names) {
  constexpr std::size_t kNameWidth = 22;
  for (std::size_t entry = 0; entry < names.size(); ++entry) {
    std::string records;
    for (const RecordKind* kind : kKinds) {
      if (writes(*kind, entry)) records += (records.empty() ? "" : ", ") + titleOf(*kind, names);
    }
    terminal.line(flushRight(std::to_string(entry), 3) + "  " +
                  terminal.styled(tools::Style::name, padded(names[entry].value_or("(no string)"), kNameWidth)) +
                  terminal.shown(records.empty() ? "-" : records));
  }
}

void run(Invocation& invocation, const std::string& file) {
  const std::string path = file.empty() ? (resourcesOf(invocation) / "SQMFieldNames.plist").string() : file;
  std::error_code unknown;
  if (!std::filesystem::exists(path, unknown) && !unknown) {
    throw Problem(kBadInput, "there is no " + path + "; it would be a property list of " +
                                 std::to_string(FieldNameTable::kFields) + " names");
  }
  std::string problem;
  const sqm::platform::FileProblems problems([&](const sqm::platform::FileProblem& found) { problem = textOf(found); });
  const auto names = sqm::platform::PropertyListFiles(problems, {}).arrayWithContentsOfFile(path);
  if (!names) throw Problem(kFailure, problem);

  const tools::Terminal terminal(stdout);
  terminal.line(terminal.styled(tools::Style::bold, path));
  print(terminal, *names);
  const std::string which = path + ": ";
  for (const std::string& fault : faultsOf(*names)) complain(invocation, which + fault);
}

}  // namespace

void addFields(CLI::App& program, Invocation& invocation) {
  const auto file = std::make_shared<std::string>();
  CLI::App* fields = program.add_subcommand("fields", "Checks a field-name table, and shows which records write what");
  fields->add_option("FILE", *file, "The table (default: that of --resources)")->option_text(" ");
  fields->callback([&invocation, file] { run(invocation, *file); });
}

}  // namespace sqmctl
