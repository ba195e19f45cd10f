#include "tools/collector/storage/Days.h"

#include <cctype>
#include <chrono>

#include "sqm/common/internal/TimeStamp.h"

namespace collector {

std::string dayOf(std::string_view time) {
  std::string day;
  for (const char character : time.substr(0, 10)) {
    if (std::isdigit(static_cast<unsigned char>(character)) != 0) day += character;
  }
  return day.size() == 8 ? day : "19700101";
}

std::string firstOfDays(int number) {
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  return dayOf(sqm::isoTimeStamp(now - std::chrono::days(number - 1)));
}

std::int64_t firstMinuteOf(const std::string& day) {
  const int number = std::stoi(day);
  const auto date = std::chrono::year(number / 10'000) / (number / 100 % 100) / (number % 100);
  return std::chrono::minutes(std::chrono::sys_days(date).time_since_epoch()).count();
}

}  // namespace collector
