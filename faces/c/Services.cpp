// Filter, log and clock by an application's callbacks.

#include <array>
#include <new>
#include <string>
#include <utility>

#include "sqm/common/Format.h"
#include "sqm/common/ValueDictionary.h"

#include "faces/c/internal/Objects.h"
#include "faces/c/internal/Options.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace

/// The values of a record while a callback of the filter runs.
struct sqm_values {
  const sqm::ValueDictionary* all = nullptr;
  sqm::ValueDictionary* changeable = nullptr;  // null: they can only be read
  bool isChanged = false;
};

namespace {

const sqm_values& given(const sqm_values* values) {
  require(values != nullptr, "the values are NULL");
  return *values;
}

/// A view as a C text.
class Terminated {
 public:
  explicit Terminated(std::optional<std::string_view> text) : text_(text) {}
  operator const char*() const { return text_ ? text_->c_str() : nullptr; }  // NOLINT(google-explicit-constructor)

 private:
  std::optional<std::string> text_;
};

class CallbackLog final : public sqm::LogFile {
 public:
  CallbackLog(const sqm_log_service& service, std::string_view file, int level)
      : service_(service), file_(file), level_(level) {}

  void write(const sqm::LogLine& line) override try {
    if (line.userLevel > level_) return;
    std::string text;
    sqm::appendFormatted(text, line.format, line.arguments);
    const InService inside;
    service_.write(service_.context, file_.c_str(), Terminated(line.info), line.userLevel, text.c_str());
  } catch (const std::bad_alloc&) {
    return;  // the line is lost
  }

 private:
  const sqm_log_service service_;
  const std::string file_;
  const int level_;
};

}  // namespace

namespace sqm::c {

bool CallbackFilter::recordingDisabledForRecordName(std::optional<std::string_view> recordName,
                                                    std::optional<std::string_view> subType,
                                                    const ValueDictionary& andSQMValues) {
  if (service_.is_disabled == nullptr) return false;
  const sqm_values values = {&andSQMValues, nullptr};
  const InService inside;
  return service_.is_disabled(service_.context, Terminated(recordName), Terminated(subType), &values);
}

std::optional<ValueDictionary> CallbackFilter::appyFiltersForRecord(std::optional<std::string_view> record,
                                                                    std::optional<std::string_view> subType,
                                                                    const ValueDictionary& values) {
  if (service_.apply == nullptr) return std::nullopt;
  ValueDictionary changed = values;
  sqm_values given = {&changed, &changed};
  const InService inside;
  service_.apply(service_.context, Terminated(record), Terminated(subType), &given);
  return given.isChanged ? std::optional(std::move(changed)) : std::nullopt;
}

std::unique_ptr<LogFile> CallbackLogs::initWithFile(std::string_view file, int logLevel) {
  return std::make_unique<CallbackLog>(service_, file, logLevel);
}

}  // namespace sqm::c

char* sqm_values_get(const sqm_values* values, const char* key) {
  return textFrom([&] {
    require(key != nullptr, "the key is NULL");
    return given(values).all->find(key);
  });
}

sqm_status sqm_values_set(sqm_values* values, const char* key, const char* value) {
  return attempt([&] {
    sqm::ValueDictionary* changeable = given(values).changeable;
    require(changeable != nullptr, "these values can only be read");
    require(key != nullptr, "the key is NULL");
    values->isChanged = true;
    if (value == nullptr) {
      changeable->erase(key);
    } else {
      changeable->set(key, value);
    }
  });
}

sqm_status sqm_values_for_each(const sqm_values* values,
                               void (*visit)(void* context, const char* key, const char* value), void* context) {
  return attempt([&] {
    require(visit != nullptr, "the callback is NULL");
    given(values).all->forEach(
        [&](std::string_view key, std::string_view value) { visit(context, Terminated(key), Terminated(value)); });
  });
}

sqm_status sqm_options_set_filter(sqm_options* options, const sqm_filter_service* service) {
  return attempt([&] { on(options).filter = known(service); });
}

sqm_status sqm_options_set_log(sqm_options* options, const sqm_log_service* service) {
  return setService(options, &sqm_options::log, service, &sqm_log_service::write, "the log has no `write`");
}

sqm_status sqm_options_set_clock(sqm_options* options, const sqm_clock_service* service) {
  return setService(options, &sqm_options::clock, service, &sqm_clock_service::now, "the clock has no `now`");
}
