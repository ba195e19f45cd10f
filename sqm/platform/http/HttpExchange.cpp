#include "sqm/platform/http/HttpExchange.h"

namespace sqm::platform {

std::string textOf(const HttpExchange& exchange) {
  switch (exchange.outcome) {
    case HttpOutcome::completed:
      return "status " + std::to_string(exchange.status);
    case HttpOutcome::failed:
      return "error: " + exchange.reason;
    case HttpOutcome::timedOut:
      return "time-out: " + exchange.reason;
    case HttpOutcome::aborted:
      break;
  }
  return "aborted";
}

}  // namespace sqm::platform
