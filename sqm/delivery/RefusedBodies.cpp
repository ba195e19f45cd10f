#include "sqm/delivery/RefusedBodies.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <utility>

#include "sqm/common/Clock.h"
#include "sqm/common/internal/TimeStamp.h"

namespace sqm::delivery {

namespace {

// The format of a file. Not to be changed: files of older versions are read.
constexpr std::string_view kFirstLine = "SQM refused body 1\n";
constexpr std::string_view kAddress = "address: ";
constexpr std::string_view kStatus = "status: ";
constexpr std::string_view kTime = "time: ";
constexpr std::string_view kBytes = "bytes: ";

constexpr std::string_view kSuffix = ".refused";
constexpr std::size_t kDigits = 10;

template <typename Number>
std::optional<Number> numberOf(std::string_view digits) {
  Number number = 0;
  const char* const end = digits.data() + digits.size();
  const auto [last, error] = std::from_chars(digits.data(), end, number);
  return error == std::errc() && last == end ? std::optional(number) : std::nullopt;
}

std::optional<std::uint64_t> numberOfFile(std::string_view name) {
  if (!name.ends_with(kSuffix)) return std::nullopt;
  return numberOf<std::uint64_t>(name.substr(0, name.size() - kSuffix.size()));
}

bool isRefusedFile(std::string_view name) { return numberOfFile(name).has_value(); }

std::string nameOf(std::uint64_t number) {
  std::string digits = std::to_string(number);
  digits.insert(0, kDigits - std::min(kDigits, digits.size()), '0');
  return digits.append(kSuffix);
}

/// Removes a line that begins with `label` from `text` and returns the rest of the line.
std::optional<std::string_view> takeLine(std::string_view& text, std::string_view label) {
  const std::size_t end = text.find('\n');
  if (!text.starts_with(label) || end == std::string_view::npos || end < label.size()) return std::nullopt;
  const std::string_view value = text.substr(label.size(), end - label.size());
  text.remove_prefix(end + 1);
  return value;
}

/// True for a body that was refused before this time, in its text form; the order of such texts is that of the times.
bool isBefore(Files& files, const std::string& path, std::string_view time) {
  std::string text;
  if (time.empty() || files.read(path, text)) return false;
  const auto refused = refusedBodyOf(text);
  return refused && refused->time < time;
}

}  // namespace

std::optional<RefusedBody> refusedBodyOf(std::string_view text) {
  if (!text.starts_with(kFirstLine)) return std::nullopt;
  text.remove_prefix(kFirstLine.size());
  const auto address = takeLine(text, kAddress);
  const auto status = takeLine(text, kStatus);
  const auto time = takeLine(text, kTime);
  const auto bytes = takeLine(text, kBytes);
  const auto empty = takeLine(text, "");
  if (!address || !status || !time || !bytes || !empty || !empty->empty()) return std::nullopt;
  const auto code = numberOf<int>(*status);
  if (!code || numberOf<std::uintmax_t>(*bytes) != text.size()) return std::nullopt;
  return RefusedBody{*address, *code, *time, text};
}

std::string refusedFolderPath(const TrelkConfiguration& configuration) {
  return sqmFolderPath(configuration) + "/Refused";
}

std::error_code listRefused(Files& files, const std::string& folder, std::vector<RefusedFile>& refused) {
  refused.clear();
  if (!files.exists(folder)) return {};
  std::vector<Files::Entry> entries;
  if (const auto problem = files.list(folder, isRefusedFile, entries)) return problem;
  for (const Files::Entry& entry : entries) {
    if (!entry.isRegularFile) continue;
    std::string path = folder + "/" + entry.name;
    const std::uintmax_t size = files.size(path);
    refused.push_back({*numberOfFile(entry.name), std::move(path), size});
  }
  const auto isOlder = [](const RefusedFile& one, const RefusedFile& other) { return one.number < other.number; };
  std::sort(refused.begin(), refused.end(), isOlder);
  return {};
}

std::error_code RefusedBodies::keep(std::string_view address, int status, std::string_view body) {
  if (address.empty() || address.find('\n') != std::string_view::npos) {
    return make_error_code(std::errc::invalid_argument);
  }
  const std::string folder = refusedFolderPath(*host_.configuration);
  std::vector<RefusedFile> refused;
  if (const auto problem = listRefused(*host_.files, folder, refused)) return problem;

  std::string head(kFirstLine);
  head.append(kAddress).append(address).append("\n");
  head.append(kStatus).append(std::to_string(status)).append("\n");
  head.append(kTime).append(isoTimeStamp(now())).append("\n");
  head.append(kBytes).append(std::to_string(body.size())).append("\n\n");
  const std::uintmax_t size = head.size() + body.size();
  if (limits_.files == 0 || size > limits_.bytes) return make_error_code(std::errc::file_too_large);

  const std::uint64_t number = refused.empty() ? 1 : refused.back().number + 1;
  if (number == 0) return make_error_code(std::errc::value_too_large);  // another program has taken the last number
  if (const auto problem = host_.files->replace(folder + "/" + nameOf(number), {head, body})) return problem;
  dropOldest(refused, size);
  return {};
}

std::chrono::sys_seconds RefusedBodies::now() const {
  return std::chrono::sys_seconds(std::chrono::seconds(host_.clock->time()));
}

/// `refused` are the files before the new one, which has `added` bytes.
void RefusedBodies::dropOldest(const std::vector<RefusedFile>& refused, std::uintmax_t added) {
  std::size_t count = refused.size() + 1;
  std::uintmax_t bytes = added;
  for (const RefusedFile& file : refused) bytes += file.bytes;
  const bool hasAge = limits_.age && *limits_.age < now().time_since_epoch();
  const std::string earliest = hasAge ? isoTimeStamp(now() - *limits_.age) : "";
  for (const RefusedFile& oldest : refused) {
    const bool isOld = isBefore(*host_.files, oldest.path, earliest);
    if (!isOld && count <= limits_.files && bytes <= limits_.bytes) return;
    if (host_.files->remove(oldest.path)) continue;  // the next body tries it again
    const DropReason reason = isOld ? DropReason::age : count > limits_.files ? DropReason::records : DropReason::bytes;
    --count;
    bytes -= oldest.bytes;
    ++dropped_;
    if (onDrop_) onDrop_(oldest, reason, dropped_);
  }
}

}  // namespace sqm::delivery
