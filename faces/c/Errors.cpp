#include "faces/c/internal/Errors.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace sqm::c {

namespace {

/// A buffer and not a string: keeping an error needs no memory, and the end of a thread runs nothing of the library.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): each thread has its own
thread_local std::array<char, 256> lastError{};

void keep(std::string_view what) noexcept {
  const std::size_t size = std::min(what.size(), lastError.size() - 1);
  std::copy_n(what.data(), size, lastError.data());
  lastError[size] = '\0';
}

constexpr std::array<const char*, 6> kStatusNames = {
    "ok", "invalid argument", "out of range", "out of memory", "unavailable", "failed"};

}  // namespace

void clearError() noexcept { lastError[0] = '\0'; }

sqm_status keepError() noexcept {
  try {
    throw;
  } catch (const Failure& failure) {
    keep(failure.what());
    return failure.status();
  } catch (const std::invalid_argument& error) {
    keep(error.what());
    return SQM_INVALID_ARGUMENT;
  } catch (const std::out_of_range& error) {
    keep(error.what());
    return SQM_OUT_OF_RANGE;
  } catch (const std::bad_alloc&) {
    keep("out of memory");
    return SQM_NO_MEMORY;
  } catch (const std::exception& error) {
    keep(error.what());
    return SQM_FAILED;
  } catch (...) {
    keep("an exception of an unknown type");
    return SQM_FAILED;
  }
}

}  // namespace sqm::c

using sqm::c::kStatusNames;

const char* sqm_last_error(void) { return sqm::c::lastError.data(); }

const char* sqm_status_name(sqm_status status) {
  const bool isKnown = status >= SQM_OK && status <= SQM_FAILED;
  return kStatusNames[static_cast<std::size_t>(isKnown ? status : SQM_FAILED)];
}

const char* sqm_version(void) { return SQM_VERSION; }

// NOLINTNEXTLINE(cppcoreguidelines-no-malloc): a text of `newText`
void sqm_string_free(char* text) { std::free(text); }
