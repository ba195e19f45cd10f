#include "tools/collector/Export.h"

#include <functional>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "tools/collector/Csv.h"
#include "tools/collector/Json.h"
#include "tools/collector/ListAnswer.h"

namespace collector {

namespace {

using httplib::Request;
using httplib::Response;

constexpr const char* kLineEnd = "\r\n";  // RFC 4180

/// What a column of CSV shows.
struct Column {
  std::string name;
  std::function<std::string(const RecordRow&)> textOf;
};

/// The first value of this name.
std::string valueOf(const RecordRow& row, const std::string& name) {
  for (auto& [found, value] : pairsOfJson(row.values)) {
    if (found == name) return std::move(value);
  }
  return {};
}

/// The columns of every record, and then one for each of the fields, or one with all values when none is named.
std::vector<Column> columns(const std::string& fields) {
  std::vector<Column> columns = {
      {"id", [](const RecordRow& row) { return std::to_string(row.id); }},
      {"request", [](const RecordRow& row) { return std::to_string(row.request); }},
      {"time", [](const RecordRow& row) { return row.time; }},
      {"path", [](const RecordRow& row) { return row.path; }},
      {"type", [](const RecordRow& row) { return row.type; }},
      {"subType", [](const RecordRow& row) { return row.subType.value_or(""); }},
      {"event", [](const RecordRow& row) { return row.event.value_or(""); }},
      {"problem", [](const RecordRow& row) { return row.problem.value_or(""); }},
  };
  std::istringstream names(fields);
  for (std::string name; std::getline(names, name, ',');) {
    columns.push_back({name, [name](const RecordRow& row) { return valueOf(row, name); }});
  }
  if (fields.empty()) columns.push_back({"values", [](const RecordRow& row) { return row.values; }});
  return columns;
}

std::string csvLine(const std::vector<Column>& columns, const std::function<std::string(const Column&)>& textOf) {
  std::string line;
  for (const Column& column : columns) line += (line.empty() ? "" : ",") + csvCell(textOf(column));
  return line + kLineEnd;
}

/// The format by the parameter `format`, or else by the header Accept. Throws std::invalid_argument.
bool isCsv(const Request& request) {
  if (!request.has_param("format")) return request.get_header_value("Accept").find("text/csv") != std::string::npos;
  const std::string format = request.get_param_value("format");
  if (format != "csv" && format != "jsonl") throw std::invalid_argument("format is to be csv or jsonl");
  return format == "csv";
}

void sendExport(Storage& storage, const Request& request, Response& response) {
  const auto send = [&](const ListFrame& frame, std::function<std::string(const RecordRow&)> toText) {
    sendList<RecordRow>(
        request, response, [&storage](auto since, auto limit) { return storage.records(since, limit); }, frame,
        std::move(toText));
  };
  const bool isTable = isCsv(request);
  response.set_header("Content-Disposition",
                      std::string("attachment; filename=\"sqm-records.") + (isTable ? "csv\"" : "jsonl\""));
  if (!isTable) {
    return send({"application/x-ndjson", "", "", ""}, [](const RecordRow& row) { return recordJson(row) + "\n"; });
  }
  auto shown = columns(request.get_param_value("fields"));
  std::string head = csvLine(shown, [](const Column& column) { return column.name; });
  send({"text/csv; charset=utf-8; header=present", std::move(head), "", ""},
       [shown = std::move(shown)](const RecordRow& row) {
         return csvLine(shown, [&row](const Column& column) { return column.textOf(row); });
       });
}

}  // namespace

void addExport(HttpServer& server, const Services& services) {
  server.Get("/_export", [services](const Request& request, Response& response) {
    sendExport(services.storage, request, response);
  });
}

}  // namespace collector
