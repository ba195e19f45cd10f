#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "sqm/delivery/internal/JournalFormat.h"
#include "sqm/delivery/internal/JournalReplay.h"

namespace sqm::delivery::test {

using enum RecordType;

using Texts = std::vector<std::string>;
using Lists = ByType<TextArray>;

/// One step of a session with five lists.
struct Step {
  enum class What { stored, posted, delivered, saved } what;
  RecordType type = client;
  std::string text = {};
};

using What = Step::What;

/// The lists in the files before the first step.
inline const ByType<Texts>& firstLists() {
  static const ByType<Texts> lists = {{{"k1", "k2"}, {"c1", "c2", "c3"}, {}, {"a1"}, {"u1", "u2"}}};
  return lists;
}

/// Steps with every operation for every list. Some deliveries are of saved records, some of others, some of both.
inline const std::vector<Step>& sessionSteps() {
  static const std::vector<Step> all = {
      {What::stored, connection, "<c4/>"},
      {What::stored, client, std::string("<k3>\0\xFF\x01</k3>", 12)},
      {What::posted, connection},
      {What::stored, connection, std::string(300, 'c')},
      {What::delivered, connection},
      {What::stored, device, "<d1/>"},
      {What::stored, userAcceptance, ""},
      {What::stored, application, "<a2/>"},
      {What::posted, device},
      {What::delivered, device},
      {What::posted, application},
      {What::stored, application, "<a3/>"},
      {What::delivered, application},
      {What::stored, device, "<d2/>"},
      {What::saved},
      {What::stored, connection, "<c5/>"},
      {What::posted, connection},
      {What::posted, userAcceptance},
      {What::posted, client},
      {What::delivered, client},
      {What::stored, client, "<k4/>"},
      {What::stored, userAcceptance, "<u3/>"},
      {What::delivered, userAcceptance},
      {What::stored, device, "<d3/>"},
      {What::delivered, connection},
      {What::stored, application, "<a4/>"},
  };
  return all;
}

/// The save reaches the files of these alone, so that the journal goes on.
inline bool isSaved(RecordType type) { return type == connection || type == device || type == userAcceptance; }

/// A list, by what happened to the one with which the journal began.
struct Kept {
  Texts base;   // the records of that one that are left
  Texts added;  // the records behind them

  Texts all() const {
    Texts texts = base;
    texts.insert(texts.end(), added.begin(), added.end());
    return texts;
  }

  void removeFirst(std::size_t count) {
    const std::size_t ofBase = std::min(count, base.size());
    base.erase(base.begin(), base.begin() + static_cast<std::ptrdiff_t>(ofBase));
    added.erase(added.begin(), added.begin() + static_cast<std::ptrdiff_t>(count - ofBase));
  }
};

/// The journal of the steps, appended frame by frame.
class Session {
 public:
  Session() {
    for (const RecordType type : kRecordTypes) kept_[indexOf(type)].base = firstLists()[indexOf(type)];
    ends_.push_back(bytes_.size());
    after_.push_back(kept_);
    for (const RecordType type : kRecordTypes) appendMark(JournalOperation::base, type);
    ByType<std::size_t> posted{};
    for (const Step& step : sessionSteps()) {
      Kept& kept = kept_[indexOf(step.type)];
      switch (step.what) {
        case What::stored:
          kept.added.push_back(step.text);
          append({.operation = JournalOperation::stored, .type = step.type, .text = step.text});
          break;
        case What::posted:
          posted[indexOf(step.type)] = kept.all().size();
          break;
        case What::delivered:
          kept.removeFirst(posted[indexOf(step.type)]);
          append({.operation = JournalOperation::removed, .type = step.type, .count = posted[indexOf(step.type)]});
          break;
        case What::saved:
          for (const RecordType type : kRecordTypes) appendMark(JournalOperation::saving, type);
          break;
      }
    }
  }

  const std::string& bytes() const { return bytes_; }
  /// The number of frames.
  std::size_t size() const { return ends_.size() - 1; }
  /// Where the first `frames` of them end.
  std::size_t end(std::size_t frames) const { return ends_[frames]; }
  std::string first(std::size_t frames) const { return bytes_.substr(0, end(frames)); }
  std::string frame(std::size_t at) const { return bytes_.substr(end(at), end(at + 1) - end(at)); }
  /// The lists in the files at the end of the session.
  const Lists& files() const { return files_; }

  /// True when the first `frames` say what the file of this list holds.
  bool knowsFile(RecordType type, std::size_t frames) const { return frames > knownFrom_[indexOf(type)]; }

  /// The lists that the files and the first `frames` give.
  Lists listsAfter(std::size_t frames) const {
    Lists lists;
    for (const RecordType type : kRecordTypes) {
      const Kept& kept = after_[frames][indexOf(type)];
      TextArray& list = lists[indexOf(type)];
      if (knowsFile(type, frames)) {
        list = TextArray(kept.all());
        continue;
      }
      list = files_[indexOf(type)];
      const TextArray& file = files_[indexOf(type)];
      for (const std::string& text : kept.added) {
        if (std::find(file.begin(), file.end(), TextArray::value_type(text)) == file.end()) list.append(text);
      }
    }
    return lists;
  }

 private:
  void append(const JournalFrame& frame) {
    appendFrame(bytes_, size(), frame);
    ends_.push_back(bytes_.size());
    after_.push_back(kept_);
  }

  void appendMark(JournalOperation operation, RecordType type) {
    const TextArray list(kept_[indexOf(type)].all());
    if (operation == JournalOperation::base || isSaved(type)) {
      files_[indexOf(type)] = list;
      knownFrom_[indexOf(type)] = size();
    }
    const ListMark mark = markOf(list);
    append({.operation = operation, .type = type, .count = mark.count, .digest = mark.digest});
  }

  std::string bytes_{kJournalHead};
  std::vector<std::size_t> ends_;
  std::vector<ByType<Kept>> after_;  // the lists after each number of frames
  ByType<Kept> kept_;
  Lists files_;
  ByType<std::size_t> knownFrom_{};
};

inline const Session& session() {
  static const Session only;
  return only;
}

}  // namespace sqm::delivery::test
