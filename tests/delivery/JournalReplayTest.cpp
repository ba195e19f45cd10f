#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "sqm/delivery/internal/JournalReplay.h"

#include "tests/delivery/JournalSession.h"
#include "tests/support/Golden.h"

// A journal that is taken piece by piece, as a file is read.

namespace sqm::delivery {
namespace {

using test::Lists;
using test::session;
using enum RecordType;

/// Takes the journal in pieces of this size.
Replay replayed(std::string_view journal, std::size_t piece, Lists& lists) {
  JournalReplay replay(lists);
  for (; !journal.empty(); journal.remove_prefix(std::min(piece, journal.size()))) {
    replay.take(journal.substr(0, piece), journal.size() - std::min(piece, journal.size()));
  }
  return replay.finish();
}

// The order of the bytes is that of the file, whatever the processor's is: a journal written on one is read on the
// other.
TEST(JournalReplay, TheJournalIsTheSameOnEveryProcessor) { expectGoldenFile(session().bytes(), "session.journal"); }

TEST(JournalReplay, PiecesOfAnySizeGiveTheSame) {
  for (std::size_t piece = 1; piece <= session().bytes().size(); ++piece) {
    SCOPED_TRACE(piece);
    Lists lists = session().files();
    const Replay replay = replayed(session().bytes(), piece, lists);
    EXPECT_EQ(lists, session().listsAfter(session().size()));
    EXPECT_EQ(replay.size, session().bytes().size());
    EXPECT_EQ(replay.soundBytes, replay.size);
    EXPECT_EQ(replay.nextSequence, session().size());
  }
}

TEST(JournalReplay, PiecesOfADamagedJournalEndAtTheDamage) {
  std::size_t frames = 0;
  for (std::size_t at = kJournalHead.size(); at < session().bytes().size(); ++at) {
    while (session().end(frames + 1) <= at) ++frames;
    std::string damaged = session().bytes();
    damaged[at] = static_cast<char>(damaged[at] + 1);
    for (const std::size_t piece : {1U, 2U, 7U, 8U, 50U, 300U}) {
      SCOPED_TRACE(std::to_string(at) + " in pieces of " + std::to_string(piece));
      Lists lists = session().files();
      const Replay replay = replayed(damaged, piece, lists);
      EXPECT_EQ(lists, session().listsAfter(frames));
      EXPECT_EQ(replay.size, damaged.size());
      EXPECT_EQ(replay.soundBytes, session().end(frames));
    }
  }
}

TEST(JournalReplay, PiecesOfAnotherFileAreNoJournal) {
  for (const std::size_t piece : {1U, 7U, 8U, 9U}) {
    Lists lists = session().files();
    EXPECT_FALSE(replayed("SQMjrnl0" + session().bytes().substr(8), piece, lists).isJournal);
    EXPECT_EQ(lists, session().files());
  }
}

TEST(JournalReplay, AListGetsTheMemoryOfItsRecordsOnce) {
  const std::string text(100, 'x');
  std::string journal(kJournalHead);
  for (const RecordType type : kRecordTypes) {
    appendFrame(journal, indexOf(type), {.operation = JournalOperation::base, .type = type});
  }
  constexpr std::size_t kRecords = 1000;
  for (std::size_t number = 0; number < kRecords; ++number) {
    const RecordType type = number == 0 ? client : connection;
    appendFrame(journal, kRecordTypes.size() + number,
                {.operation = JournalOperation::stored, .type = type, .text = text});
  }
  Lists lists;
  replayed(journal, 4096, lists);
  EXPECT_EQ(lists[indexOf(connection)].size(), kRecords - 1);
  EXPECT_LE(lists[indexOf(connection)].capacity(), journal.size());  // and not the next power of two
  EXPECT_EQ(lists[indexOf(client)].size(), 1U);
  EXPECT_LE(lists[indexOf(client)].capacity(), 2 * text.size());  // what it did not need was given back
}

}  // namespace
}  // namespace sqm::delivery
