#include "tools/sqmctl/play/JsonLine.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "sqm/common/internal/Utf8.h"

namespace sqmctl::play {

namespace {

using nlohmann::json;
using sqm::JsonArray;
using sqm::JsonLiteral;
using sqm::JsonObject;
using sqm::JsonValue;

constexpr std::size_t kLongestShown = 40;  // bytes
constexpr std::string_view kEllipsis = "...";

/// The parser's message without its error number and without the text that it has read.
std::string reasonOf(const json::exception& problem) {
  std::string_view text = problem.what();
  for (const std::string_view mark : {"] ", " - "}) {
    const std::size_t at = text.find(mark);
    if (at != std::string_view::npos) text.remove_prefix(at + mark.size());
  }
  return std::string(text.substr(0, std::min(text.find("; last read"), text.find(" parsing '"))));
}

/// Builds the object from the parser's events. The parser does not recurse, so only the values built here need a limit
/// of their depth.
class Builder final : public json::json_sax_t {
 public:
  std::string& fault() { return fault_; }
  JsonObject& object() { return std::get<JsonObject>(root_); }

  bool null() override { return literal("null"); }
  bool boolean(bool value) override { return literal(value ? "true" : "false"); }
  bool number_integer(std::int64_t value) override { return literal(std::to_string(value)); }
  bool number_unsigned(std::uint64_t value) override { return literal(std::to_string(value)); }
  bool number_float(double /*value*/, const std::string& digits) override { return literal(digits); }
  bool string(std::string& value) override { return add(std::move(value)) != nullptr; }
  bool binary(json::binary_t& /*value*/) override { return false; }  // does not occur in JSON text
  bool key(std::string& value) override {
    key_ = std::move(value);
    return true;
  }
  bool start_object(std::size_t /*size*/) override {
    if (!open_.empty()) return open(JsonObject{});
    open_.push_back(&root_);
    return true;
  }
  bool end_object() override { return hasDistinctKeys(std::get<JsonObject>(*open_.back())) && close(); }
  bool start_array(std::size_t /*size*/) override { return open(JsonArray{}); }
  bool end_array() override { return close(); }
  bool parse_error(std::size_t position, const std::string& /*token*/, const json::exception& problem) override {
    return fail("not a JSON object: at byte " + std::to_string(position) + ": " + reasonOf(problem));
  }

 private:
  bool fail(std::string text) {
    fault_ = std::move(text);
    return false;
  }

  bool literal(std::string text) { return add(JsonLiteral{std::move(text)}) != nullptr; }

  /// Adds a value to the innermost open object or list. Returns it, or null when none is open.
  JsonValue* add(JsonValue value) {
    if (open_.empty()) {
      fail("not a JSON object, but " + shown(value));
      return nullptr;
    }
    if (auto* list = std::get_if<JsonArray>(open_.back())) return &list->emplace_back(std::move(value));
    auto& members = std::get<JsonObject>(*open_.back());
    return &members.emplace_back(sqm::JsonMember{std::move(key_), std::move(value)}).value;
  }

  /// The address of the added container stays valid: its parents do not grow before it is closed.
  bool open(JsonValue container) {
    if (open_.size() == kDeepestNesting) {
      return fail("nested too deeply: more than " + std::to_string(kDeepestNesting) + " levels of objects and lists");
    }
    JsonValue* const added = add(std::move(container));
    if (added != nullptr) open_.push_back(added);
    return added != nullptr;
  }

  bool close() {
    open_.pop_back();
    return true;
  }

  bool hasDistinctKeys(const JsonObject& members) {
    std::vector<std::string_view> keys;
    keys.reserve(members.size());
    for (const auto& member : members) keys.push_back(member.key);
    std::sort(keys.begin(), keys.end());
    const auto twice = std::adjacent_find(keys.begin(), keys.end());
    return twice == keys.end() || fail("duplicate key " + shownText(*twice) + " in one object");
  }

  JsonValue root_ = JsonObject{};
  std::vector<JsonValue*> open_;
  std::string key_;
  std::string fault_;
};

/// The faults that the parser does not detect.
std::string faultInBytes(std::string_view line) {
  if (line.starts_with("\xEF\xBB\xBF")) return "a byte-order mark; only the file may begin with one";
  const std::size_t nul = line.find('\0');
  if (nul != std::string_view::npos)
    return "a NUL at byte " + std::to_string(nul + 1) + "; in a string it is written \\u0000";
  if (!sqm::isWellFormedUtf8(line)) return "not well-formed UTF-8";
  return "";
}

}  // namespace

std::string shownText(std::string_view text) {
  const std::string whole = nlohmann::json(text.substr(0, sqm::utf8PrefixLength(text, kLongestShown))).dump();
  return text.size() > kLongestShown ? whole.substr(0, whole.size() - 1).append(kEllipsis).append("\"") : whole;
}

std::string shown(const sqm::JsonValue& value) {
  if (const auto* text = std::get_if<std::string>(&value)) return shownText(*text);
  if (std::holds_alternative<sqm::JsonObject>(value)) return "an object";
  if (std::holds_alternative<sqm::JsonArray>(value)) return "a list";
  std::string digits = std::get<sqm::JsonLiteral>(value).text;
  if (digits.size() > kLongestShown) digits.erase(kLongestShown).append(kEllipsis);
  return digits;
}

std::variant<JsonObject, Fault> objectOf(std::string_view line) {
  if (std::string fault = faultInBytes(line); !fault.empty()) return Fault{std::move(fault)};
  Builder builder;
  if (!json::sax_parse(line, &builder)) return Fault{std::move(builder.fault())};
  return std::move(builder.object());
}

}  // namespace sqmctl::play
