#include "sqm/platform/files/internal/PropertyListValue.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "sqm/platform/files/internal/PropertyListWriter.h"

namespace sqm::platform {

namespace {

constexpr std::chrono::sys_seconds startOf(std::chrono::year year) {
  return std::chrono::sys_days(year / std::chrono::January / 1);
}

constexpr std::chrono::sys_seconds kReference = startOf(std::chrono::year(2001));

template <typename... Functions>
struct Overloaded : Functions... {
  using Functions::operator()...;
};

}  // namespace

std::string PropertyListValue::Date::text() const {
  const auto time = kReference + std::chrono::seconds(static_cast<std::int64_t>(std::floor(seconds)));
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

std::optional<PropertyListValue::Date> PropertyListValue::Date::from(double seconds) {
  constexpr auto kFirst = startOf(std::chrono::year(1)) - kReference;
  constexpr auto kEnd = startOf(std::chrono::year(10'000)) - kReference;
  const bool isWithin = seconds >= static_cast<double>(kFirst.count()) && seconds < static_cast<double>(kEnd.count());
  return isWithin ? std::optional(Date{seconds}) : std::nullopt;
}

std::optional<PropertyListValue::Date> PropertyListValue::Date::from(std::string_view text) {
  constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:ddZ";
  const auto fits = [](char form, char given) { return form == 'd' ? given >= '0' && given <= '9' : form == given; };
  if (!std::ranges::equal(kForm, text, fits)) return std::nullopt;
  const auto number = [&](std::size_t at, std::size_t digits) {
    int value = 0;
    std::from_chars(text.data() + at, text.data() + at + digits, value);
    return value;
  };
  const auto ordinal = [&](std::size_t at) { return static_cast<unsigned>(number(at, 2)); };
  const auto date = std::chrono::year(number(0, 4)) / std::chrono::month(ordinal(5)) / std::chrono::day(ordinal(8));
  if (!date.ok()) return std::nullopt;
  const auto time = std::chrono::sys_days(date) + std::chrono::hours(number(11, 2)) +
                    std::chrono::minutes(number(14, 2)) + std::chrono::seconds(number(17, 2));
  return from(static_cast<double>((time - kReference).count()));
}

const PropertyListValue* PropertyListValue::find(std::string_view key) const {
  const auto* dictionary = std::get_if<Dictionary>(&content);
  if (dictionary == nullptr) return nullptr;
  const auto found = std::ranges::find(*dictionary, key, &Dictionary::value_type::first);
  return found == dictionary->end() ? nullptr : &found->second;
}

std::size_t PropertyListValue::objects() const {
  std::size_t objects = 1;
  if (const auto* const array = std::get_if<Array>(&content)) {
    for (const PropertyListValue& element : *array) objects += element.objects();
  } else if (const auto* const dictionary = std::get_if<Dictionary>(&content)) {
    for (const auto& [key, value] : *dictionary) objects += 1 + value.objects();
  }
  return objects;
}

void PropertyListValue::writeTo(PropertyListWriter& writer) const {
  std::visit(Overloaded{
                 [&](const std::string& text) { writer.text(text); },
                 [&](const Data& data) { writer.data(data.bytes); },
                 [&](Integer number) { writer.integer(number); },
                 [&](double number) { writer.real(number); },
                 [&](bool value) { writer.boolean(value); },
                 [&](Date date) { writer.date(date); },
                 [&](const Array& array) {
                   writer.beginArray(array.size());
                   for (const PropertyListValue& element : array) element.writeTo(writer);
                   writer.end();
                 },
                 [&](const Dictionary& dictionary) {
                   writer.beginDictionary(dictionary.size());
                   for (const auto& [key, value] : dictionary) {
                     writer.key(key);
                     value.writeTo(writer);
                   }
                   writer.end();
                 },
             },
             content);
}

}  // namespace sqm::platform
