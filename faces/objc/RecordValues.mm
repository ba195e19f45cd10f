#include <string>
#include <string_view>

#include "faces/objc/internal/Records.h"

using sqm::objc::guarded;
using sqm::objc::initialized;
using sqm::objc::KeptRecord;
using sqm::objc::stringOf;
using sqm::objc::textOf;

namespace {

/// The values; none when the record has none any more.
sqm::ValueDictionary* valuesOf(const std::shared_ptr<KeptRecord>* kept) { return (*kept)->record->recordValues(); }

}  // namespace

@implementation SQMRecordValues

- (id)initWithKeptRecord:(const std::shared_ptr<KeptRecord>&)kept {
  self = [super init];
  return initialized(self, _kept, [&] { return new std::shared_ptr<KeptRecord>(kept); });
}

/* The initializer that the initializers of the base call. */
- (id)initWithCapacity:(NSUInteger)capacity {
  (void)capacity;
  return self;
}

- (void)dealloc {
  delete _kept;
  [super dealloc];
}

- (NSUInteger)count {
  const auto* const kept = _kept;
  return guarded([&]() -> NSUInteger {
    const auto* values = valuesOf(kept);
    return values == nullptr ? 0 : values->size();
  });
}

- (id)objectForKey:(id)key {
  const auto* const kept = _kept;
  return guarded([&]() -> id {
    const auto* values = valuesOf(kept);
    return values == nullptr || key == nil ? nil : stringOf(values->find(*textOf(key)));
  });
}

- (NSEnumerator*)keyEnumerator {
  const auto* const kept = _kept;
  return guarded([&] {
    NSMutableArray* keys = [NSMutableArray array];
    if (const auto* values = valuesOf(kept)) {
      values->forEach([&](std::string_view key, std::string_view) { [keys addObject:stringOf(key)]; });
    }
    return [keys objectEnumerator];
  });
}

- (void)setObject:(id)value forKey:(id)key {
  const auto* const kept = _kept;
  guarded([&] {
    if (value == nil || key == nil) throw std::invalid_argument("a record has no absent keys and values");
    if (auto* values = valuesOf(kept)) values->set(*textOf(key), *textOf(value));
  });
}

- (void)removeObjectForKey:(id)key {
  const auto* const kept = _kept;
  guarded([&] {
    if (key == nil) throw std::invalid_argument("a record has no absent keys");
    if (auto* values = valuesOf(kept)) values->erase(*textOf(key));
  });
}

@end
