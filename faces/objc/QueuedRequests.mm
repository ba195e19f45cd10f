#include "faces/objc/internal/QueuedRequests.h"

#include <stdexcept>

#include "sqm/queue/QFRecordUploader.h"

#include "faces/c/internal/Objects.h"
#include "faces/objc/internal/Bridge.h"

using sqm::UploadRequests;
using sqm::objc::dictionaryOf;
using sqm::objc::guarded;
using sqm::objc::requestOf;
using sqm::objc::stringOf;
using sqm::objc::textOf;

namespace {

NSString* const kURL = @"uploadURL";
NSString* const kData = @"uploadData";

/// Calls `use` with the requests of the queue.
template <typename Use>
void withRequests(Use use) {
  sqm::c::queue().useRecordQueue([&](std::optional<UploadRequests>& queue) {
    UploadRequests none;
    use(queue ? *queue : none);
  });
}

/// The place of a request; std::out_of_range for one beyond the end.
auto at(UploadRequests& requests, NSUInteger index, NSUInteger count) {
  if (index >= count) throw std::out_of_range("the queue has no such request");
  return requests.begin() + static_cast<UploadRequests::difference_type>(index);
}

}  // namespace

namespace sqm::objc {

NSDictionary* dictionaryOf(const UploadRequest& request) {
  NSMutableDictionary* dictionary = [NSMutableDictionary dictionaryWithCapacity:2];
  if (request.uploadURL) [dictionary setObject:stringOf(request.uploadURL) forKey:kURL];
  if (request.uploadData) [dictionary setObject:stringOf(request.uploadData) forKey:kData];
  return dictionary;
}

UploadRequest requestOf(NSDictionary* dictionary) {
  return {textOf([dictionary objectForKey:kURL]), textOf([dictionary objectForKey:kData])};
}

}  // namespace sqm::objc

@implementation SQMQueuedRequests

/* The initializer that the initializers of the base call. */
- (id)initWithObjects:(const id[])objects count:(NSUInteger)count {
  (void)objects;
  (void)count;
  return self;
}

- (NSUInteger)count {
  return guarded([] {
    NSUInteger count = 0;
    withRequests([&](const UploadRequests& requests) { count = requests.size(); });
    return count;
  });
}

- (id)objectAtIndex:(NSUInteger)index {
  return guarded([&] {
    NSDictionary* request = nil;
    withRequests([&](UploadRequests& requests) { request = dictionaryOf(*at(requests, index, requests.size())); });
    return request;
  });
}

- (void)insertObject:(id)request atIndex:(NSUInteger)index {
  guarded([&] {
    const auto inserted = requestOf(request);
    withRequests(
        [&](UploadRequests& requests) { requests.insert(at(requests, index, requests.size() + 1), inserted); });
  });
}

- (void)addObject:(id)request {
  guarded([&] {
    const auto added = requestOf(request);
    withRequests([&](UploadRequests& requests) { requests.push_back(added); });
  });
}

- (void)replaceObjectAtIndex:(NSUInteger)index withObject:(id)request {
  guarded([&] {
    const auto replacement = requestOf(request);
    withRequests([&](UploadRequests& requests) { *at(requests, index, requests.size()) = replacement; });
  });
}

- (void)removeObjectAtIndex:(NSUInteger)index {
  guarded(
      [&] { withRequests([&](UploadRequests& requests) { requests.erase(at(requests, index, requests.size())); }); });
}

- (void)removeLastObject {
  guarded([&] {
    withRequests([&](UploadRequests& requests) { requests.erase(at(requests, requests.size() - 1, requests.size())); });
  });
}

- (void)removeAllObjects {
  guarded([] { withRequests([](UploadRequests& requests) { requests.clear(); }); });
}

@end
