// Between Objective-C and C++: texts, exceptions, the host, notifications.
#pragma once

#import <Foundation/Foundation.h>
#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "sqm/common/Host.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/common/ValueDictionary.h"

#include "faces/c/sqm-c/host.h"
#import "faces/objc/internal/Exceptions.h"

@class SQMHost;

namespace sqm::objc {

using Text = std::optional<std::string>;

/// A text that may be absent: nil. Unpaired surrogates are replaced.
Text textOf(NSString* string);

/// A text for a call of C, which sees it up to a NUL; null for nil.
class CText {
 public:
  explicit CText(NSString* string) : text_(textOf(string)) {}
  operator const char*() const { return text_ ? text_->c_str() : nullptr; }  // NOLINT(google-explicit-constructor)

 private:
  Text text_;
};

/// Autoreleased; nil for an absent text. A text of a file that is not UTF-8 is read as Latin 1.
NSString* stringOf(std::optional<std::string_view> text);

/// A text of C, which is freed.
NSString* takenString(char* text);

/// The same for a text of a table, which raises NSInvalidArgumentException for NULL.
NSString* tableText(char* text);

/// The key and value of each entry, which must be strings.
ValueDictionary valuesOf(NSDictionary* dictionary);
NSDictionary* dictionaryOf(const ValueDictionary& values);

/// An exception of C++ on its way to Objective-C.
struct Problem {
  NSString* name = nil;
  NSString* reason = nil;
};

/// Inside a handler: what Objective-C is told of the exception. An exception of Objective-C continues on its way.
Problem problemInFlight();

[[noreturn]] void raise(const Problem& problem);

/// Runs the body of a method. No exception of C++ escapes: it is raised as one of Objective-C. The body must not use
/// `self` or an instance variable: GCC does not pass them into a lambda.
template <typename Body>
std::invoke_result_t<Body> guarded(Body&& body) {
  Problem problem;
  try {
    return body();
  } catch (...) {
    problem = problemInFlight();
  }
  raise(problem);
}

/// Releases the object of an initializer that has failed.
void discard(id object);

/// Makes what an object keeps. When `make` gives null, and after an exception, the object is released; a shared object,
/// which has been made before, keeps what it has.
template <typename Body, typename Make>
id initialized(id object, Body*& body, Make&& make) {
  if (object == nil) return nil;
  Problem problem;
  try {
    if (Body* const made = make()) {
      body = made;
      return object;
    }
  } catch (...) {
    problem = problemInFlight();
  }
  discard(object);
  if (problem.name != nil) raise(problem);
  return nil;
}

/// A time in milliseconds, at most 300,000 years.
inline std::int64_t millisecondsOf(NSTimeInterval seconds) {
  return static_cast<std::int64_t>(std::clamp(seconds * 1e3, -1e16, 1e16));
}

/// YES for SQM_OK, NO for SQM_FAILED; every other status of a call of C is raised.
BOOL succeeded(sqm_status status);

/// Retains a host: the given one, or that which is installed when it is made. The first member of what uses a host.
class KeptHost {
 public:
  KeptHost();
  explicit KeptHost(SQMHost* host);
  KeptHost(const KeptHost& other);
  ~KeptHost();
  KeptHost& operator=(const KeptHost&) = delete;

  Host& services() const;
  /// The handle of the host for calls of C.
  sqm_host* handle() const;

 private:
  SQMHost* host_;
};

/// Passes the notifications of an object of C++ on to NSNotificationCenter, from an object of Objective-C, which is not
/// retained.
class Announcer {
 public:
  Announcer(const Host& host, std::initializer_list<NSString*> names, const void* from, id sender);
  void stop() { registrations_.clear(); }

 private:
  std::vector<NotificationCenter::Registration> registrations_;
};

/// Calls code of the application. What it raises is logged.
template <typename Body>
void callOut(Body body) {
  sqm_objc_call_out([](void* context) { (*static_cast<Body*>(context))(); }, &body);
}

/// A notification for a handler of the library, which acts on the name.
class GivenNotification {
 public:
  explicit GivenNotification(NSNotification* notification);
  operator Notification() const { return {name_, nullptr}; }  // NOLINT(google-explicit-constructor)

 private:
  std::string name_;
};

}  // namespace sqm::objc
