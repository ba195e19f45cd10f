#include "tests/tools/HttpsClient.h"

#include <cstddef>
#include <utility>

#include <curl/curl.h>

#include "tests/support/Patience.h"

namespace {

std::size_t append(const char* data, std::size_t /*one*/, std::size_t size, std::string* text) {
  text->append(data, size);
  return size;
}

}  // namespace

HttpsClient::HttpsClient(std::string address, std::string authority)
    : address_(std::move(address)), curl_(curl_easy_init(), curl_easy_cleanup) {
  if (!authority.empty()) curl_easy_setopt(curl_.get(), CURLOPT_CAINFO, authority.c_str());
  curl_easy_setopt(curl_.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(curl_.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl_.get(), CURLOPT_TIMEOUT, static_cast<long>(kPatience.count()));
  curl_easy_setopt(curl_.get(), CURLOPT_WRITEFUNCTION, append);
}

HttpsClient::Answer HttpsClient::get(const std::string& path, const std::string& token) {
  curl_easy_setopt(curl_.get(), CURLOPT_HTTPGET, 1L);
  return perform(path, token);
}

HttpsClient::Answer HttpsClient::post(const std::string& path, const std::string& body, const std::string& token) {
  curl_easy_setopt(curl_.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  curl_easy_setopt(curl_.get(), CURLOPT_COPYPOSTFIELDS, body.c_str());
  return perform(path, token);
}

HttpsClient::Answer HttpsClient::perform(const std::string& path, const std::string& token) {
  Answer answer;
  curl_slist* headers = curl_slist_append(nullptr, "Expect:");
  if (!token.empty()) headers = curl_slist_append(headers, ("Authorization: Bearer " + token).c_str());
  curl_easy_setopt(curl_.get(), CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl_.get(), CURLOPT_URL, (address_ + path).c_str());
  curl_easy_setopt(curl_.get(), CURLOPT_WRITEDATA, &answer.body);
  const CURLcode code = curl_easy_perform(curl_.get());
  if (code != CURLE_OK) answer.error = curl_easy_strerror(code);
  long connections = 0;
  curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &answer.status);
  curl_easy_getinfo(curl_.get(), CURLINFO_NUM_CONNECTS, &connections);
  answer.isOnNewConnection = connections != 0;
  curl_slist_free_all(headers);
  return answer;
}
