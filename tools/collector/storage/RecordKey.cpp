#include "tools/collector/storage/RecordKey.h"

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <new>
#include <openssl/evp.h>
#include <string>

namespace collector {

namespace {

constexpr std::size_t kBeginning = 8;  // bytes that the keys of one client have in common

using Digest = std::array<unsigned char, EVP_MAX_MD_SIZE>;

/// The digest of texts, each preceded by its length.
Digest digestOf(std::initializer_list<std::string_view> texts) {
  // Looking the algorithm up takes longer than a digest.
  static const std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> sha256(EVP_MD_fetch(nullptr, "SHA256", nullptr),
                                                                      &EVP_MD_free);
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  Digest digest{};
  bool isMade = sha256 && context && EVP_DigestInit_ex2(context.get(), sha256.get(), nullptr) == 1;
  for (const std::string_view text : texts) {
    const std::string length = std::to_string(text.size()) + ':';
    isMade = isMade && EVP_DigestUpdate(context.get(), length.data(), length.size()) == 1 &&
             EVP_DigestUpdate(context.get(), text.data(), text.size()) == 1;
  }
  if (!isMade || EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) != 1) throw std::bad_alloc();
  return digest;
}

}  // namespace

RecordKey RecordKeys::next(const Record& record) {
  const auto valueOf = [&](Meaning meaning) { return mapping_.valueOf(meaning, record.values); };
  const std::string_view client = valueOf(Meaning::client);
  const std::string_view session = valueOf(Meaning::session);
  const std::string_view event = valueOf(Meaning::event);
  const std::string_view index = valueOf(Meaning::index);
  const bool isKnown = !client.empty() && !session.empty() && !event.empty() && !index.empty();
  const Digest digest = isKnown ? digestOf({record.type, client, session, event, index, valueOf(Meaning::time)})
                                : digestOf({record.type, record.raw, std::to_string(equal_[record.raw]++)});
  const Digest beginning = client.empty() ? digest : digestOf({client});
  RecordKey key{};
  std::copy_n(beginning.begin(), kBeginning, key.begin());
  std::copy_n(digest.begin(), key.size() - kBeginning, key.begin() + kBeginning);
  return key;
}

}  // namespace collector
