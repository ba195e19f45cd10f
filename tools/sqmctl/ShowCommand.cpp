#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <pugixml.hpp>

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/Output.h"
#include "tools/sqmctl/Stored.h"
#include "tools/support/IndentedXml.h"

// `show` and `documents`: the stored records, one by one or as the documents that are posted.

namespace sqmctl {

namespace {

using tools::plural;
using tools::Style;

struct ShowOptions {
  std::string type;
  bool isRaw = false;
  bool isJson = false;
};

/// The lists that a subcommand shows, in their order, and how it shows each.
struct View {
  std::vector<sqm::RecordType> (*typesToShow)(const StoredLists& lists);
  void (*print)(const tools::Terminal& terminal, const StoredList& list, bool isRaw);
  void (*addJson)(Json& all, const StoredList& list);
};

void run(Invocation& invocation, const ShowOptions& options, const View& view) {
  const auto only = typeNamed(options.type);
  const auto isChosen = [&only](const StoredList& list) { return !only || list.type == *only; };
  const StoredLists lists = storedLists(homeOf(invocation));
  for (const StoredList& list : lists) {
    if (isChosen(list)) complainOf(invocation, list);
  }
  const tools::Terminal terminal(stdout);
  Json all = Json::array();
  for (const sqm::RecordType type : view.typesToShow(lists)) {
    const StoredList& list = listOf(lists, type);
    if (!isChosen(list)) continue;
    if (options.isJson) {
      view.addJson(all, list);
    } else {
      view.print(terminal, list, options.isRaw);
    }
  }
  if (options.isJson) printJson(terminal, all);
}

std::vector<sqm::RecordType> typesWithRecords(const StoredLists& lists) {
  std::vector<sqm::RecordType> types;
  for (const StoredList& list : lists) {
    if (!list.records.empty()) types.push_back(list.type);
  }
  return types;
}

void printRecords(const tools::Terminal& terminal, const StoredList& list, bool isRaw) {
  std::size_t number = 0;
  for (const auto element : list.records) {
    const std::string_view record = element.value();
    ++number;
    if (isRaw) {
      terminal.line(terminal.shown(record));
      continue;
    }
    terminal.line(terminal.styled(Style::bold, std::string(nameOf(list.type)) + " " + std::to_string(number) + " of " +
                                                   std::to_string(list.records.size()) + ", " +
                                                   plural(record.size(), "byte")));
    if (!record.empty()) terminal.line(tools::indentedXml(terminal, std::string(record), 2));
  }
}

/// Adds the name and the text of every element without elements in it.
void addValues(Json& values, const pugi::xml_node& root) {
  struct Walker : pugi::xml_tree_walker {
    explicit Walker(Json& all) : values(all) {}
    bool for_each(pugi::xml_node& node) override {
      const bool hasElements =
          !node.find_child([](const pugi::xml_node& child) { return child.type() == pugi::node_element; }).empty();
      if (node.type() == pugi::node_element && !hasElements) {
        values.push_back(Json::array({node.name(), node.child_value()}));
      }
      return true;
    }
    Json& values;
  } walker(values);
  pugi::xml_node start = root;
  start.traverse(walker);
}

void addRecordsAsJson(Json& all, const StoredList& list) {
  std::size_t number = 0;
  for (const auto element : list.records) {
    const std::string_view record = element.value();
    Json values = Json::array();
    pugi::xml_document parsed;
    if (parsed.load_buffer(record.data(), record.size(), pugi::parse_default | pugi::parse_ws_pcdata_single,
                           pugi::encoding_utf8)) {
      addValues(values, parsed);
    }
    all.push_back({{"type", nameOf(list.type)},
                   {"number", ++number},
                   {"bytes", record.size()},
                   {"values", std::move(values)},
                   {"raw", record}});
  }
}

void printDocument(const tools::Terminal& terminal, const StoredList& list, bool isRaw) {
  const std::string document = documentOf(list);
  if (isRaw) return terminal.line(terminal.shown(document));
  terminal.line(terminal.styled(Style::bold, std::string(nameOf(list.type)) + ", " +
                                                 plural(list.records.size(), "record") + ", " +
                                                 plural(document.size(), "byte")));
  terminal.line(tools::indentedXml(terminal, document, 2));
}

void addDocumentAsJson(Json& all, const StoredList& list) {
  std::string document = documentOf(list);
  const std::size_t bytes = document.size();
  all.push_back({{"type", nameOf(list.type)},
                 {"records", list.records.size()},
                 {"bytes", bytes},
                 {"document", std::move(document)}});
}

CLI::App* addView(CLI::App& program, Invocation& invocation, const char* name, const char* what, const View& view) {
  const auto options = std::make_shared<ShowOptions>();
  CLI::App* command = program.add_subcommand(name, what);
  std::string names;
  for (const auto& row : sqm::kRecordTypeTable) names += (names.empty() ? "" : ", ") + std::string(row.name);
  command->add_option("TYPE", options->type, "One of " + names + " (default: all)")
      ->option_text(" ")
      ->check([names](const std::string& word) {
        return typeNamed(word) ? std::string() : "'" + word + "' is none of " + names;
      });
  CLI::Option* raw = command->add_flag("--raw", options->isRaw, "Byte for byte, each on one line");
  command->add_flag("--json", options->isJson, "For programs")->excludes(raw);
  command->callback([&invocation, options, view] { run(invocation, *options, view); });
  return command;
}

}  // namespace

void addShow(CLI::App& program, Invocation& invocation) {
  addView(program, invocation, "show", "The stored records, indented",
          {typesWithRecords, printRecords, addRecordsAsJson});
}

void addDocuments(CLI::App& program, Invocation& invocation) {
  addView(program, invocation, "documents", "The documents that an upload would post, one after another",
          {postedTypes, printDocument, addDocumentAsJson})
      ->footer(
          "The connection document is posted even when there are no connection records; user acceptances only in an\n"
          "upload that has device or application records, too.");
}

}  // namespace sqmctl
