#include "tools/demo/Stage.h"

#include <stdexcept>

#include <httplib.h>
#include <nlohmann/json.hpp>

namespace demo {

Collector::Collector(const std::filesystem::path& programs, int port)
    : process_({(programs / "sqm-collector").string(), "--port", std::to_string(port), "--quiet"},
               /*readsOutput=*/true),
      address_(process_.readLine()) {
  if (address_.empty()) throw std::runtime_error("the collection server did not start");
  address_.pop_back();  // the slash at the end
}

int Stage::statusOf(const std::string& program, const std::vector<std::string>& arguments) const {
  std::vector<std::string> command = {(programs / program).string()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return tools::Process(command, /*readsOutput=*/false).wait();
}

void Stage::run(const std::string& program, const std::vector<std::string>& arguments) const {
  const int status = statusOf(program, arguments);
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

}  // namespace demo
