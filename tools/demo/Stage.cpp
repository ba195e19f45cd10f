#include "tools/demo/Stage.h"

#include <stdexcept>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tools/support/Process.h"

namespace demo {

void Stage::run(const std::string& program, const std::vector<std::string>& arguments) const {
  std::vector<std::string> command = {(programs / program).string()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  const int status = tools::Process(command, /*readsOutput=*/false).wait();
  if (status != 0) throw std::runtime_error(program + " ended with status " + std::to_string(status));
}

std::vector<Post> Stage::arrived(std::size_t known) const {
  httplib::Client client(server);
  const auto get = [&](const std::string& path) {
    const auto answer = client.Get(path);
    if (!answer || answer->status != 200) throw std::runtime_error("the collection server does not tell " + path);
    return answer->body;
  };
  std::vector<Post> posts;
  for (const auto& request : nlohmann::json::parse(get("/_requests"))) {
    const auto id = request.at("id").get<std::size_t>();
    if (id <= known) continue;
    posts.push_back({request.at("path"), request.at("contentType"), get("/_requests/" + std::to_string(id) + "/body")});
  }
  return posts;
}

std::string plural(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace demo
