// The operations of the upload queue.

#include "tools/sqmctl/play/Operation.h"

namespace sqmctl::play {

namespace {

constexpr Argument kRequest[] = {nullable("data", kText), nullable("url", kText)};
constexpr Argument kUpload[] = {kTimeout};

constexpr Operation kOperations[] = {
    {"queue.add", kRequest,
     [](Player& player, const Arguments& arguments) -> Result {
       return player.queue().quequeRecord(arguments.text("data"), arguments.text("url"));
     }},
    {"queue.upload", kUpload,
     [](Player& player, const Arguments& arguments) -> Result {
       player.uploadQueue(timeoutOf(arguments));
       const auto queue = player.queue().recordQueue();
       return {{"remaining", queue ? queue->size() : 0}};
     }},
};

}  // namespace

std::span<const Operation> queueOperations() { return kOperations; }

}  // namespace sqmctl::play
