// A minimal client: records one event, uploads it, and reports what failed.

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "sqm/manager/SQMManager.h"
#include "sqm/testing/FakeHost.h"

namespace {

void expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "consumer: %s\n", what);
  std::exit(1);
}

}  // namespace

int main() {
  sqm::testing::FakeHost fake;
  sqm::SQMManager manager(fake.host);
  manager.SetSQMConnectionURL("https://collector.example/connections");
  manager.setDeviceType(1);

  sqm::SQMSessionParams params;
  expect(params.setStringValue("session-1", 6) == 0, "a parameter was not taken");
  manager.sqmCreateStartRecord(&params);
  manager.uploadSQM();
  fake.http.complete(200);
  fake.mainThread.runAll();

  bool posted = false;
  for (const auto& request : fake.http.requests()) {
    posted = posted || (request.url == "https://collector.example/connections" &&
                        std::string_view(request.data).find("session-1") != std::string_view::npos);
  }
  expect(posted, "the connection record was not posted");
  std::puts("consumer: the connection record was posted");
  return 0;
}
