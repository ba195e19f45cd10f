#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/delivery/Journal.h"
#include "sqm/delivery/internal/Checksums.h"
#include "sqm/delivery/internal/LittleEndian.h"
#include "sqm/store/SQMRecordStore.h"
#include "sqm/testing/FakeHost.h"
#include "sqm/testing/MemoryAppendFile.h"

#include "tests/delivery/JournalSession.h"

// A whole journal that is damaged in every way. What is found in it is compared with what a session kept by hand: the
// lists after each of its frames.

namespace sqm::delivery {
namespace {

using sqm::testing::FakeHost;
using sqm::testing::ManualClock;
using sqm::testing::MemoryAppendFile;
using sqm::testing::MemoryDisk;
using test::firstLists;
using test::isSaved;
using test::Lists;
using test::Session;
using test::session;
using test::sessionSteps;
using test::Step;
using ::testing::IsEmpty;
using What = test::Step::What;
using enum RecordType;

constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();

TEST(JournalDamage, TheSessionIsWhatAStoreWrites) {
  FakeHost host;
  MemoryDisk disk;
  Journal journal(std::make_unique<MemoryAppendFile>(disk), host.clock, {});
  host.host.recordJournal = &journal;
  {
    SQMRecordStore store(host.host);
    for (const RecordType type : kRecordTypes) {
      for (const std::string& text : firstLists()[indexOf(type)]) {
        store.saveSQMRecordType(static_cast<std::int64_t>(type), text);
      }
    }
    store.SaveSQMStoreToDisk();
    for (const RecordType type : kRecordTypes) {
      if (!isSaved(type)) host.propertyLists.refuseWriting(listFilePath(*host.host.configuration, type));
    }
    for (const Step& step : sessionSteps()) {
      if (step.what == What::stored) store.saveSQMRecordType(static_cast<std::int64_t>(step.type), step.text);
      if (step.what == What::posted) store.document(step.type);
      if (step.what == What::delivered) store.deleteRecords(step.type);
      if (step.what == What::saved) store.SaveSQMStoreToDisk();
    }
    EXPECT_EQ(disk.content, session().bytes());
    for (const RecordType type : kRecordTypes) {
      EXPECT_EQ(host.propertyLists.file(listFilePath(*host.host.configuration, type)),
                session().files()[indexOf(type)]);
    }
  }
  host.host.recordJournal = nullptr;
}

// --- Loading -----------------------------------------------------------------------------------------------------

struct Loaded {
  Lists lists;
  std::vector<std::string> problems;
};

/// Loads the session's files with the journal on this disk. Stores a record then, when there is one.
Loaded load(MemoryDisk& disk, const std::optional<std::string>& stored = {}) {
  Loaded loaded{.lists = session().files(), .problems = {}};
  const ManualClock clock;
  Journal journal(std::make_unique<MemoryAppendFile>(disk), clock,
                  {.onProblem = [&](const std::string& problem) { loaded.problems.push_back(problem); }});
  journal.listsLoaded(loaded.lists);
  if (stored) {
    loaded.lists[indexOf(device)].append(*stored);
    journal.recordStored(loaded.lists, device);
  }
  return loaded;
}

/// Expects these lists and problems, and that the next record makes the journal sound.
void expectLoaded(MemoryDisk disk, Lists lists, const std::vector<std::string>& problems) {
  EXPECT_EQ(load(disk).lists, lists);
  const Loaded loaded = load(disk, "<new/>");
  lists[indexOf(device)].append("<new/>");
  EXPECT_EQ(loaded.lists, lists);
  EXPECT_EQ(loaded.problems, problems);
  const Loaded again = load(disk);
  EXPECT_EQ(again.lists, lists);
  EXPECT_THAT(again.problems, IsEmpty());
}

/// Expects what the first frames give, and that the rest of the journal is told to be damaged.
void expectFirst(std::size_t frames, const std::string& journal) {
  std::vector<std::string> problems;
  const std::size_t end = session().end(frames);
  if (journal.size() > end) {
    problems.push_back("is damaged from byte " + std::to_string(end) + " on; the " +
                       std::to_string(journal.size() - end) + " bytes from there are dropped");
  }
  for (const RecordType type : kRecordTypes) {
    if (session().knowsFile(type, frames)) continue;
    problems.emplace_back("does not know the content of a list's file, to which it adds the records that are missing");
    break;
  }
  expectLoaded({.content = journal, .aside = {}}, session().listsAfter(frames), problems);
}

/// Expects the lists of the files, and that the journal is moved aside.
void expectNone(const std::string& journal) {
  MemoryDisk disk{.content = journal, .aside = {}};
  const Lists files = session().files();
  expectLoaded(disk, files, {"is of another version, or no journal, and is moved aside"});
  load(disk, "<new/>");
  EXPECT_EQ(disk.aside, journal);
}

std::string randomBytes(std::size_t count, std::mt19937& random) {
  std::string bytes;
  while (bytes.size() < count) bytes.push_back(static_cast<char>(random()));
  return bytes;
}

TEST(JournalDamage, TruncatedAtAnyByteItKeepsTheWholeFrames) {
  const std::string& whole = session().bytes();
  std::size_t frames = 0;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    SCOPED_TRACE(size);
    if (size > 0 && size < kJournalHead.size()) {
      expectNone(whole.substr(0, size));
      continue;
    }
    while (frames < session().size() && session().end(frames + 1) <= size) ++frames;
    if (size > 0) expectFirst(frames, whole.substr(0, size));
  }
  EXPECT_EQ(frames, session().size());
}

TEST(JournalDamage, AnEmptyFileIsNoProblem) { expectLoaded({.content = "", .aside = {}}, session().files(), {}); }

TEST(JournalDamage, AnyBitThatIsFlippedEndsTheFramesBeforeIt) {
  std::size_t frames = 0;
  for (std::size_t bit = 0; bit < 8 * session().bytes().size(); ++bit) {
    SCOPED_TRACE(bit);
    std::string journal = session().bytes();
    journal[bit / 8] = static_cast<char>(journal[bit / 8] ^ 1 << bit % 8);
    if (bit / 8 < kJournalHead.size()) {
      expectNone(journal);
      continue;
    }
    while (session().end(frames + 1) <= bit / 8) ++frames;
    expectFirst(frames, journal);
  }
}

TEST(JournalDamage, OfRandomBytesItIsNoJournalAndBehindTheHeadItIsDamagedFromThereOn) {
  std::mt19937 random(1);
  for (std::size_t size = 1; size < 600; ++size) {
    SCOPED_TRACE(size);
    const std::string bytes = randomBytes(size, random);
    expectNone(bytes);
    expectFirst(0, std::string(kJournalHead) + bytes);
  }
  const std::string megabyte = randomBytes(std::size_t{1} << 20, random);
  expectNone(megabyte);
  expectFirst(0, std::string(kJournalHead) + megabyte);
}

TEST(JournalDamage, WhatFollowsAnyFrameIsDroppedWhenItIsRandomOrZeros) {
  std::mt19937 random(2);
  for (std::size_t frames = 0; frames <= session().size(); ++frames) {
    for (const std::size_t size : {1U, 7U, 8U, 17U, 18U, 19U, 64U, 1000U, 4096U}) {
      SCOPED_TRACE(std::to_string(frames) + " frames, " + std::to_string(size) + " bytes");
      expectFirst(frames, session().first(frames) + randomBytes(size, random));
      expectFirst(frames, session().first(frames) + std::string(size, '\0'));
    }
  }
}

// --- Frames with a right checksum --------------------------------------------------------------------------------

/// A frame of any length and any content, with its checksum.
std::string frameOf(std::uint32_t length, const std::string& body) {
  std::string frame;
  appendLittleEndian(frame, length);
  const std::uint32_t checksum = crc32c(body, crc32c(frame));
  appendLittleEndian(frame, checksum);
  return frame + body;
}

std::string bodyOf(std::uint64_t sequence, int operation, int type, std::size_t payload) {
  std::string body;
  appendLittleEndian(body, sequence);
  appendLittleEndian(body, static_cast<std::uint8_t>(operation));
  appendLittleEndian(body, static_cast<std::uint8_t>(type));
  return body.append(payload, '\1');
}

/// Frames that no journal has as its frame with this number.
std::vector<std::string> wrongFrames(std::uint64_t number) {
  std::vector<std::string> frames;
  const auto add = [&](const std::string& body) {
    frames.push_back(frameOf(static_cast<std::uint32_t>(body.size()), body));
  };
  const std::string sound = bodyOf(number, 2, 1, 20);
  for (const std::uint32_t length : {0U, 1U, 9U, 10U, 29U, 31U, 1000U, 0x7FFF'FFFFU, 0x8000'0000U, 0xFFFF'FFFFU}) {
    frames.push_back(frameOf(length, sound));
  }
  add(std::string(9, '\0'));
  for (const int operation : {0, 5, 9, 127, 128, 255}) add(bodyOf(number, operation, 1, 8));
  for (const int type : {5, 7, 127, 128, 255}) add(bodyOf(number, 2, type, 8));
  for (const std::size_t payload : {0U, 7U, 9U, 16U}) add(bodyOf(number, 3, 1, payload));
  for (const int operation : {1, 4}) {
    for (const std::size_t payload : {0U, 8U, 15U, 17U}) add(bodyOf(number, operation, 1, payload));
  }
  for (const std::uint64_t other : {number + 1, number - 1, kMost - number, std::uint64_t{1} << 32 | number}) {
    add(bodyOf(other, 2, 1, 20));
  }
  return frames;
}

TEST(JournalDamage, AFrameWithARightChecksumAndAWrongContentEndsTheJournal) {
  for (std::size_t frames = 0; frames <= session().size(); ++frames) {
    const std::vector<std::string> wrong = wrongFrames(frames);
    for (std::size_t at = 0; at < wrong.size(); ++at) {
      SCOPED_TRACE(std::to_string(frames) + " frames, wrong frame " + std::to_string(at));
      expectFirst(frames, session().first(frames) + wrong[at]);
    }
  }
}

TEST(JournalDamage, AFrameThatIsRepeatedLeftOutOrExchangedEndsTheJournal) {
  const Session& whole = session();
  for (std::size_t at = 0; at + 1 < whole.size(); ++at) {
    SCOPED_TRACE(at);
    expectFirst(at + 1, whole.first(at + 1) + whole.bytes().substr(whole.end(at)));
    expectFirst(at, whole.first(at) + whole.bytes().substr(whole.end(at + 1)));
    expectFirst(at, whole.first(at) + whole.frame(at + 1) + whole.frame(at) + whole.bytes().substr(whole.end(at + 2)));
  }
}

TEST(JournalDamage, TheRestOfALongerJournalIsDropped) {
  std::string longer(kJournalHead);
  std::vector<std::size_t> ends;
  for (std::uint64_t number = 0; number < 100; ++number) {
    ends.push_back(longer.size());
    appendFrame(longer, number, {.operation = JournalOperation::stored, .type = connection, .text = "<old/>"});
  }
  const std::string& whole = session().bytes();
  for (std::size_t at = session().size() + 1; at < ends.size(); ++at) {
    SCOPED_TRACE(at);
    expectFirst(session().size(), whole + longer.substr(ends[at]));
    expectFirst(session().size(), whole + longer.substr(ends[at] - 1));
  }
}

// --- Frames that say what cannot be ------------------------------------------------------------------------------

/// The session's journal, with further frames.
std::string sessionAnd(const std::vector<JournalFrame>& frames) {
  std::string journal = session().bytes();
  std::uint64_t number = session().size();
  for (const JournalFrame& frame : frames) appendFrame(journal, number++, frame);
  return journal;
}

TEST(JournalDamage, ARemovalOfMoreThanThereIsEmptiesTheList) {
  for (const RecordType type : kRecordTypes) {
    Lists lists = session().listsAfter(session().size());
    lists[indexOf(type)] = TextArray{"<z/>"};
    const JournalFrame stored{.operation = JournalOperation::stored, .type = type, .text = "<z/>"};
    for (const std::uint64_t count : {std::uint64_t{100}, kMost}) {
      const JournalFrame removed{.operation = JournalOperation::removed, .type = type, .count = count};
      expectLoaded({.content = sessionAnd({removed, stored}), .aside = {}}, lists, {});
      expectLoaded({.content = sessionAnd({removed, removed, stored}), .aside = {}}, lists, {});
    }
  }
}

TEST(JournalDamage, ABaseThatIsNotTheFileLeavesTheFilesRecords) {
  for (const std::uint64_t count : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{100}, kMost}) {
    for (const std::uint64_t removed : {std::uint64_t{1}, std::uint64_t{50}, kMost}) {
      Lists lists = session().listsAfter(session().size());
      lists[indexOf(client)] = session().files()[indexOf(client)];
      lists[indexOf(client)].append("<z/>");
      const std::string journal =
          sessionAnd({{.operation = JournalOperation::base, .type = client, .count = count, .digest = 7},
                      {.operation = JournalOperation::removed, .type = client, .count = removed},
                      {.operation = JournalOperation::stored, .type = client, .text = "<z/>"}});
      expectLoaded({.content = journal, .aside = {}}, lists,
                   {"does not know the content of a list's file, to which it adds the records that are missing"});
    }
  }
}

TEST(JournalDamage, ASavingWithAnyCountChangesNothingUnlessItIsTheFile) {
  for (const std::uint64_t count : {std::uint64_t{0}, std::uint64_t{1}, kMost}) {
    const std::string journal =
        sessionAnd({{.operation = JournalOperation::saving, .type = client, .count = count, .digest = 7}});
    expectLoaded({.content = journal, .aside = {}}, session().listsAfter(session().size()), {});
  }
}

TEST(JournalDamage, AnyFramesWithRightChecksumsAreLoadedAndTheNextJournalGivesTheSame) {
  std::mt19937 random(3);
  const auto any = [&](auto... values) {
    const std::array<std::uint64_t, sizeof...(values)> all{static_cast<std::uint64_t>(values)...};
    return all[random() % all.size()];
  };
  for (int round = 0; round < 20'000; ++round) {
    SCOPED_TRACE(round);
    std::string journal(kJournalHead);
    const std::uint64_t frames = random() % 30;
    for (std::uint64_t number = 0; number < frames; ++number) {
      JournalFrame frame{.operation = static_cast<JournalOperation>(any(1, 2, 2, 2, 3, 3, 4)),
                         .type = static_cast<RecordType>(any(0, 0, 1, 2, 4)),
                         .text = any(0, 1) == 0 ? "<c1/>" : "<z/>",
                         .count = any(0, 1, 2, 3, 50, kMost, kMost - 1, std::uint64_t{1} << 63),
                         .digest = random()};
      if (any(0, 1) == 0) {
        const ListMark mark = markOf(session().files()[indexOf(frame.type)]);
        frame.count = mark.count;
        frame.digest = mark.digest;
      }
      appendFrame(journal, number, frame);
    }
    MemoryDisk disk{.content = journal, .aside = {}};
    const Loaded loaded = load(disk, "<new/>");
    const Loaded again = load(disk);
    EXPECT_EQ(again.lists, loaded.lists);
    EXPECT_THAT(again.problems, IsEmpty());
  }
}

}  // namespace
}  // namespace sqm::delivery
