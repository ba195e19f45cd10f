// The smallest client of the core alone: no service of a host, no other library.

#include <cstdio>

#include "sqm/manager/SQMSessionParams.h"

int main() {
  sqm::SQMSessionParams params;
  if (params.setStringValue("session-1", 6) != 0 || params.valueForKey(6) != "session-1") return 1;
  std::puts("consumer: the core holds a parameter");
  return 0;
}
