#include "tests/tools/Sqmctl.h"

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tests/support/Patience.h"
#include "tools/support/ReservedPort.h"

std::vector<std::pair<std::string, std::string>> postsTo(const Collector& collector) {
  httplib::Client client(collector.address());
  client.set_read_timeout(kPatience);
  std::vector<std::pair<std::string, std::string>> posts;
  for (const auto& request : Json::parse(client.Get("/_requests")->body)) {
    posts.emplace_back(request.at("path"), client.Get("/_requests/" + request.at("id").dump() + "/body")->body);
  }
  return posts;
}

std::string deadAddress() {
  static const tools::ReservedPort port;
  return port.address();
}
