#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/NotificationCenter.h"

using sqm::Notification;
using sqm::NotificationCenter;
using Registration = NotificationCenter::Registration;

namespace {

constexpr std::string_view kName = "Something";

class NotificationCenterTest : public ::testing::Test {
 protected:
  /// A handler that records `text`.
  NotificationCenter::Handler writing(std::string text) {
    return [this, text = std::move(text)](const Notification&) { received.push_back(text); };
  }

  Registration observe(std::string text, const void* object = nullptr) {
    return center.addObserver(kName, object, writing(std::move(text)));
  }

  void post(const void* object = nullptr) { center.postNotificationName(kName, object); }

  using Texts = std::vector<std::string>;

  NotificationCenter center;
  Texts received;
};

TEST_F(NotificationCenterTest, PassesNameAndSenderToTheHandler) {
  const int sender = 0;
  std::string name;
  const void* object = nullptr;
  const Registration registration = center.addObserver(kName, nullptr, [&](const Notification& notification) {
    name = notification.name;
    object = notification.object;
  });
  post(&sender);
  EXPECT_EQ(name, kName);
  EXPECT_EQ(object, &sender);
}

TEST_F(NotificationCenterTest, CallsInTheOrderOfRegistration) {
  const Registration a = observe("a");
  const Registration b = observe("b");
  const Registration c = observe("c");
  post();
  post();
  EXPECT_EQ(received, (Texts{"a", "b", "c", "a", "b", "c"}));
}

TEST_F(NotificationCenterTest, PostingWithoutObserversDoesNothing) {
  post();
  EXPECT_TRUE(received.empty());
}

TEST_F(NotificationCenterTest, CallsOnlyForTheWholeName) {
  const Registration registration = observe("a");
  for (const char* name : {"", "Some", "Something else", "something"}) center.postNotificationName(name, nullptr);
  EXPECT_TRUE(received.empty());
}

TEST_F(NotificationCenterTest, KeepsItsOwnCopyOfTheName) {
  std::string name = "a name that is long enough to lie on the heap";
  const Registration registration = center.addObserver(name, nullptr, writing("a"));
  const std::string posted = name;
  name.assign(name.size(), 'x');
  center.postNotificationName(posted, nullptr);
  EXPECT_EQ(received, Texts{"a"});
}

TEST_F(NotificationCenterTest, CallsOnlyForTheSenderOfTheRegistration) {
  const int sender = 0;
  const int other = 0;
  const Registration ofSender = observe("sender's", &sender);
  const Registration ofAnybody = observe("anybody's");
  post(&sender);
  post(&other);
  post(nullptr);
  EXPECT_EQ(received, (Texts{"sender's", "anybody's", "anybody's", "anybody's"}));
}

TEST_F(NotificationCenterTest, RegistrationEndsWithItsObject) {
  {
    const Registration registration = observe("a");
    post();
  }
  post();
  EXPECT_EQ(received, Texts{"a"});
}

TEST_F(NotificationCenterTest, RegistrationEndsWithReset) {
  Registration registration = observe("a");
  registration.reset();
  registration.reset();
  post();
  EXPECT_TRUE(received.empty());
}

TEST_F(NotificationCenterTest, MovingKeepsTheRegistration) {
  Registration first = observe("a");
  Registration second = std::move(first);
  post();
  first.reset();  // NOLINT(bugprone-use-after-move): it is empty now
  post();
  second.reset();
  post();
  EXPECT_EQ(received, (Texts{"a", "a"}));
}

TEST_F(NotificationCenterTest, RegistrationHasOneOwner) {
  EXPECT_FALSE(std::is_copy_constructible_v<Registration>);
  EXPECT_FALSE(std::is_copy_assignable_v<Registration>);
}

TEST_F(NotificationCenterTest, AssigningEndsTheEarlierRegistration) {
  Registration registration = observe("a");
  registration = observe("b");
  post();
  EXPECT_EQ(received, Texts{"b"});
  registration = Registration{};
  post();
  EXPECT_EQ(received, Texts{"b"});
}

TEST_F(NotificationCenterTest, AssigningToItselfKeepsTheRegistration) {
  Registration registration = observe("a");
  Registration& alias = registration;
  registration = std::move(alias);
  post();
  EXPECT_EQ(received, Texts{"a"});
}

TEST_F(NotificationCenterTest, RegistrationMayOutliveTheCenter) {
  auto shortLived = std::make_unique<NotificationCenter>();
  Registration registration = shortLived->addObserver(kName, nullptr, writing("a"));
  shortLived.reset();
  registration.reset();
  EXPECT_TRUE(received.empty());
}

TEST_F(NotificationCenterTest, EndOfARegistrationDestroysItsHandler) {
  const auto held = std::make_shared<int>(1);
  Registration registration = center.addObserver(kName, nullptr, [held](const Notification&) {});
  EXPECT_EQ(held.use_count(), 2);
  registration.reset();
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(NotificationCenterTest, ObserverMayRemoveItselfInsideADelivery) {
  Registration registration;
  const auto held = std::make_shared<std::string>("a");
  registration = center.addObserver(kName, nullptr, [this, held, &registration](const Notification&) {
    registration.reset();
    received.push_back(*held);  // the handler and its captures stay alive until it returns
  });
  post();
  post();
  EXPECT_EQ(received, Texts{"a"});
}

TEST_F(NotificationCenterTest, ObserverRemovedInsideADeliveryIsNotCalledAnyMore) {
  Registration second;
  const Registration first = center.addObserver(kName, nullptr, [&](const Notification&) {
    received.emplace_back("first");
    second.reset();
  });
  second = observe("second");
  const Registration third = observe("third");
  post();
  EXPECT_EQ(received, (Texts{"first", "third"}));
}

TEST_F(NotificationCenterTest, ObserverAddedInsideADeliveryIsCalledFromTheNextOn) {
  std::vector<Registration> added;
  const Registration first = center.addObserver(kName, nullptr, [&](const Notification&) {
    received.emplace_back("first");
    for (int i = 0; i < 100; ++i) added.push_back(observe("added"));
  });
  post();
  EXPECT_EQ(received, Texts{"first"});
  received.clear();
  post();
  EXPECT_EQ(received.size(), 101U);
}

TEST_F(NotificationCenterTest, ObjectMayDestroyItselfAndItsRegistrationInsideADelivery) {
  struct Observer {
    Registration registration;
    std::string text = "a text that is long enough to lie on the heap";
  };
  auto observer = std::make_unique<Observer>();
  observer->registration = center.addObserver(kName, nullptr, [&](const Notification&) {
    received.push_back(observer->text);
    observer.reset();
  });
  const Registration other = observe("other");
  post();
  post();
  EXPECT_EQ(received, (Texts{"a text that is long enough to lie on the heap", "other", "other"}));
}

TEST_F(NotificationCenterTest, HandlerMayPost) {
  int depth = 0;
  const Registration first = center.addObserver(kName, nullptr, [&](const Notification&) {
    received.push_back("first " + std::to_string(depth));
    if (++depth < 3) post();
  });
  const Registration second = observe("second");
  post();
  EXPECT_EQ(received, (Texts{"first 0", "first 1", "first 2", "second", "second", "second"}));
}

TEST_F(NotificationCenterTest, ObserverRemovedInsideAnInnerDeliveryIsNotCalledByTheOuterOne) {
  std::optional<Registration> second;
  bool isInner = false;
  const Registration first = center.addObserver(kName, nullptr, [&](const Notification&) {
    if (isInner) {
      second.reset();
    } else {
      isInner = true;
      post();
    }
  });
  second.emplace(observe("second"));
  post();
  EXPECT_TRUE(received.empty());
}

TEST_F(NotificationCenterTest, CenterMayBeDestroyedInsideADelivery) {
  auto shortLived = std::make_unique<NotificationCenter>();
  const Registration first = shortLived->addObserver(kName, nullptr, [&](const Notification&) { shortLived.reset(); });
  const Registration second = shortLived->addObserver(kName, nullptr, writing("second"));
  shortLived->postNotificationName(kName, nullptr);
  EXPECT_EQ(received, Texts{"second"});
}

TEST_F(NotificationCenterTest, ExceptionEndsTheDeliveryAndPropagatesToTheCaller) {
  const Registration first = observe("first");
  Registration second = center.addObserver(kName, nullptr, [](const Notification&) { throw std::runtime_error("no"); });
  const Registration third = observe("third");
  EXPECT_THROW(post(), std::runtime_error);
  EXPECT_EQ(received, Texts{"first"});

  second.reset();
  post();
  EXPECT_EQ(received, (Texts{"first", "first", "third"}));
}

}  // namespace
