// What every storage must do.

#include <algorithm>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/tools/storage/Arrivals.h"
#include "tests/tools/storage/Engine.h"
#include "tools/collector/storage/Days.h"

namespace {

using namespace collector;
using Texts = std::vector<std::string>;

class StorageTest : public testing::Test {
 protected:
  std::unique_ptr<Engine> engine = makeEngine();
  std::unique_ptr<Storage> storage = engine->open();
};

TEST_F(StorageTest, NumbersRequestsAndRecordsInTheirOrder) {
  const auto first = arrivalOf(documentOf({plainRecord("1"), plainRecord("2")}));
  const auto second = arrivalOf("no document");
  const auto third = arrivalOf(documentOf({plainRecord("3")}));
  Arrival* const group[] = {first.get(), second.get(), third.get()};
  storage->add(group);
  EXPECT_EQ(third->request.id, 3);
  const auto requests = storage->requests(0, 10);
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_EQ(requests[0].records, 2);
  EXPECT_EQ(requests[0].duplicates, 0);
  EXPECT_EQ(requests[1].problem, second->request.problem);
  EXPECT_EQ(requests[2].id, 3);
  EXPECT_EQ(storage->requests(1, 1).at(0).id, 2);
  EXPECT_TRUE(storage->requests(3, 10).empty());
  EXPECT_EQ(recordsOf(*storage), (Texts{plainRecord("1"), plainRecord("2"), plainRecord("3")}));
  EXPECT_EQ(storage->records(1, 1).at(0).id, 2);
  EXPECT_EQ(storage->record(3)->request, 3);
  EXPECT_FALSE(storage->record(4));
  EXPECT_FALSE(storage->request(4));
  EXPECT_EQ(storage->body(2), "no document");
  EXPECT_EQ(storage->headers(2), "[]");
  EXPECT_EQ(storage->body(4), "");
  EXPECT_EQ(storage->lastRecordUpTo(0), 0);
  EXPECT_EQ(storage->lastRecordUpTo(1), 2);
  EXPECT_EQ(storage->lastRecordUpTo(2), 2);
  EXPECT_EQ(storage->lastRecordUpTo(100), 3);
  EXPECT_EQ(storage->last().request, 3);
  EXPECT_EQ(storage->last().record, 3);
}

TEST_F(StorageTest, GoesOnWhereItWasClosed) {
  add(*storage, documentOf({plainRecord("1")}));
  storage = engine->open();
  EXPECT_EQ(add(*storage, documentOf({plainRecord("1"), plainRecord("2")})).duplicates, 1);
  EXPECT_EQ(storage->last().request, 2);
  EXPECT_EQ(recordsOf(*storage), (Texts{plainRecord("1"), plainRecord("2")}));
}

TEST_F(StorageTest, ReadsInTheirOrderWhatWasStoredOnDaysThatAlternate) {
  const Texts days = {"2026-11-22", "2026-11-21", "2026-11-21", "2026-11-22", "2026-11-23", "2026-11-20"};
  Texts expected;
  for (std::size_t i = 0; i < days.size(); ++i) {
    const std::string number = std::to_string(i);
    if (i == 4) {
      add(*storage, "no document", days[i] + "T10:00:00.000Z");
      continue;
    }
    expected.insert(expected.end(), {plainRecord(number), plainRecord(number + "b")});
    add(*storage, documentOf({plainRecord(number), plainRecord(number + "b")}), days[i] + "T10:00:00.000Z");
  }
  EXPECT_EQ(recordsOf(*storage), expected);
  std::int64_t request = 0;
  for (const RequestRow& row : requestsOf(*storage)) EXPECT_EQ(row.id, ++request);
  EXPECT_EQ(request, 6);
  for (std::int64_t id = 1; id <= 6; ++id) {
    EXPECT_EQ(storage->request(id)->time.substr(0, 10), days[static_cast<std::size_t>(id - 1)]);
    EXPECT_EQ(storage->lastRecordUpTo(id), id < 5 ? 2 * id : 2 * id - 2);
    EXPECT_NE(storage->body(id), "");
  }
  for (std::int64_t id = 1; id <= 10; ++id)
    EXPECT_EQ(storage->record(id)->raw, expected[static_cast<std::size_t>(id - 1)]);
  EXPECT_TRUE(storage->records(std::numeric_limits<std::int64_t>::max(), 1).empty());
}

TEST_F(StorageTest, StoresAnArrivalOnceThatIsAddedAgain) {
  const auto first = arrivalOf(documentOf({plainRecord("1"), plainRecord("2")}));
  const auto second = arrivalOf(documentOf({plainRecord("3")}));
  const auto third = arrivalOf(documentOf({plainRecord("1")}));
  Arrival* const group[] = {first.get(), second.get()};
  Arrival* const withAnother[] = {second.get(), third.get()};
  storage->add(group);
  storage->add(withAnother);
  EXPECT_EQ(second->request.id, 2);
  EXPECT_EQ(second->request.duplicates, 0);
  EXPECT_EQ(third->request.id, 3);
  EXPECT_EQ(third->request.duplicates, 1);
  EXPECT_EQ(storage->requests(0, 10).size(), 3U);
  EXPECT_EQ(storage->last().record, 3);
  EXPECT_EQ(storage->arrivals(*timeIn("2026-11-22T00:00:00Z"), *timeIn("2026-11-23T00:00:00Z")).posts, 3);
}

TEST_F(StorageTest, StoresAnArrivalAgainWhoseNumberAnotherGot) {
  const auto first = arrivalOf(documentOf({plainRecord("1")}));
  first->request.id = 1;  // by an attempt that failed
  add(*storage, documentOf({plainRecord("2")}));
  Arrival* const group[] = {first.get()};
  storage->add(group);
  EXPECT_EQ(first->request.id, 2);
  EXPECT_EQ(recordsOf(*storage), (Texts{plainRecord("2"), plainRecord("1")}));
}

TEST_F(StorageTest, KeepsEveryByte) {
  RequestRow head;
  head.time = "2026-11-22T10:00:00.000Z";
  head.method = "POST";
  head.path = "/connection";
  head.query = everyByte();
  head.contentType = everyByte();
  head.answered = "200";
  const std::string record = "<r><a>" + everyByte().substr(1) + "</a></r>";
  Arrival arrival(head, R"([["a\u0000","b"]])", documentOf({record, "<r><e>\xFF</e></r>"}), FieldMapping());
  Arrival* const group[] = {&arrival};
  storage->add(group);
  EXPECT_TRUE(storage->body(1) == arrival.body);
  EXPECT_EQ(storage->headers(1), arrival.headers);
  EXPECT_TRUE(storage->request(1)->query == everyByte());
  EXPECT_TRUE(storage->request(1)->contentType == everyByte());
  const auto records = storage->records(0, 10);
  ASSERT_EQ(records.size(), arrival.records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    EXPECT_TRUE(records[i].raw == arrival.records[i].raw);
    EXPECT_EQ(records[i].values, arrival.records[i].values);
    EXPECT_EQ(records[i].problem, arrival.records[i].problem);
    EXPECT_EQ(records[i].subType, arrival.records[i].subType);
    EXPECT_EQ(records[i].event, arrival.records[i].event);
  }
}

TEST_F(StorageTest, StoresARecordOnceThatArrivesAgain) {
  for (const std::string& record : {plainRecord("1"), knownRecord("c", "1")}) {
    EXPECT_EQ(add(*storage, documentOf({record})).duplicates, 0);
    const RequestRow again = add(*storage, documentOf({record}));
    EXPECT_EQ(again.records, 1);
    EXPECT_EQ(again.duplicates, 1);
    EXPECT_EQ(storage->request(again.id)->duplicates, 1);
  }
  EXPECT_EQ(recordsOf(*storage), (Texts{plainRecord("1"), knownRecord("c", "1")}));
  EXPECT_EQ(storage->last().request, 4);
}

TEST_F(StorageTest, StoresARecordOnceThatArrivesTwiceInOneTransaction) {
  const auto first = arrivalOf(documentOf({plainRecord("1")}));
  const auto second = arrivalOf(documentOf({plainRecord("1"), plainRecord("2")}));
  Arrival* const group[] = {first.get(), second.get()};
  storage->add(group);
  EXPECT_EQ(first->request.duplicates, 0);
  EXPECT_EQ(second->request.duplicates, 1);
  EXPECT_EQ(recordsOf(*storage), (Texts{plainRecord("1"), plainRecord("2")}));
}

TEST_F(StorageTest, StoresTheNewRecordsOfADocumentThatGrows) {
  Texts records;
  for (int i = 0; i < 5; ++i) {
    records.push_back(i % 2 == 0 ? plainRecord("same") : knownRecord("c", std::to_string(i)));
    EXPECT_EQ(add(*storage, documentOf(records)).duplicates, i);
  }
  EXPECT_EQ(recordsOf(*storage), records);
}

TEST_F(StorageTest, StoresEqualRecordsOfOneDocumentEach) {
  const std::string document = documentOf({plainRecord("1"), plainRecord("1"), plainRecord("1")});
  EXPECT_EQ(add(*storage, document).duplicates, 0);
  EXPECT_EQ(add(*storage, document).duplicates, 3);
  EXPECT_EQ(recordsOf(*storage).size(), 3U);
}

TEST_F(StorageTest, KnowsARecordByItsClientSessionEventAndIndex) {
  add(*storage, documentOf({knownRecord("c", "1")}));
  EXPECT_EQ(add(*storage, documentOf({knownRecord("c", "1", "start", "<ssid>x</ssid>")})).duplicates, 1);
  EXPECT_EQ(add(*storage, documentOf({knownRecord("c", "1", "stop")})).duplicates, 0);
  EXPECT_EQ(add(*storage, documentOf({knownRecord("c", "2")})).duplicates, 0);
  EXPECT_EQ(add(*storage, documentOf({knownRecord("d", "1")})).duplicates, 0);
  EXPECT_EQ(add(*storage, documentOf({knownRecord("d", "")})).duplicates, 0) << "by its bytes";
  EXPECT_EQ(add(*storage, documentOf({knownRecord("d", "", "start", "<ssid>x</ssid>")})).duplicates, 0);
}

TEST_F(StorageTest, StoresOnceWhatTwoStoragesGetAtOnce) {
  constexpr int kDocuments = 60;
  const auto send = [this](int first) {
    const auto own = engine->open();
    for (int i = 0; i < kDocuments; ++i) {
      const std::string number = std::to_string((first + i) % kDocuments);
      Texts records = {plainRecord(number), knownRecord("c", number), plainRecord("shared")};
      if (first != 0) std::ranges::reverse(records);
      for (bool isStored = false; !isStored;) {
        try {
          add(*own, documentOf(records));
          isStored = true;
        } catch (const std::exception&) {  // the other has the database
        }
      }
    }
  };
  std::thread other(send, kDocuments / 2);
  send(0);
  other.join();
  const Texts records = recordsOf(*storage);
  EXPECT_EQ(records.size(), std::size_t{2 * kDocuments + 1});
  EXPECT_EQ(std::set<std::string>(records.begin(), records.end()).size(), records.size());
  EXPECT_EQ(storage->last().request, 2 * kDocuments);
}

TEST_F(StorageTest, ShowsAReaderThatFollowsEveryRecord) {
  constexpr int kRequests = 100;
  const auto send = [this](int writer) {
    const auto own = engine->open();
    for (int i = 0; i < kRequests;) {
      try {
        add(*own, documentOf({plainRecord(std::to_string(writer * kRequests + i))}));
        ++i;
      } catch (const std::exception&) {  // the other has the database
      }
    }
  };
  std::thread first(send, 0);
  std::thread second(send, 1);
  std::int64_t since = 0;
  for (std::size_t seen = 0; seen < 2 * kRequests;) {
    for (const RecordRow& row : storage->records(since, 10)) {
      EXPECT_EQ(row.id, since + 1) << "none is stored before one that was seen";
      since = row.id;
      ++seen;
    }
  }
  first.join();
  second.join();
}

TEST_F(StorageTest, KeepsTheDaysThatItIsTo) {
  storage = engine->open({.mostDays = 2});
  const std::string today = firstOfDays(1);
  const auto noon = [](const std::string& day) {
    return day.substr(0, 4) + "-" + day.substr(4, 2) + "-" + day.substr(6) + "T12:00:00.000Z";
  };
  const Texts days = {firstOfDays(4), firstOfDays(3), firstOfDays(2), today};
  for (const std::string& day : days) add(*storage, documentOf({plainRecord(day)}), noon(day));
  while (storage->tidy()) {
  }
  EXPECT_EQ(recordsOf(*storage), (Texts{plainRecord(days[2]), plainRecord(days[3])}));
  EXPECT_EQ(requestsOf(*storage).size(), 2U);
  EXPECT_EQ(storage->lastRecordUpTo(4), 4);
  EXPECT_EQ(add(*storage, documentOf({plainRecord(days[2])}), noon(today)).duplicates, 1) << "of an earlier day";
  EXPECT_EQ(add(*storage, documentOf({plainRecord(days[0])}), noon(today)).duplicates, 0) << "it was deleted";
  EXPECT_EQ(storage->last().record, 5);
}

TEST_F(StorageTest, KeepsTheLatestRequests) {
  storage = engine->open({.mostRequests = 2});
  for (const char* value : {"1", "2", "3"}) add(*storage, documentOf({plainRecord(value)}));
  EXPECT_EQ(recordsOf(*storage), (Texts{plainRecord("2"), plainRecord("3")}));
  EXPECT_EQ(add(*storage, documentOf({plainRecord("1"), plainRecord("3")})).duplicates, 1);
}

}  // namespace
