#include "database/odbc/chunk_poster.h"

#include <doctest/doctest.h>

#include <set>

namespace kelvorin::tests {
namespace {

using database::odbc::BatchRange;
using database::odbc::ChunkPoster;
using database::odbc::PostFailure;
using database::odbc::PostStrategy;
using database::odbc::RecordBatch;

// A server that stores numbers and refuses some of them; every statement is all or nothing.
class FakeStrategy final : public PostStrategy {
 public:
  enum class Tells { kNothing, kRight, kWrong };  // about the place of a bad record
  explicit FakeStrategy(Limits limits, Tells what = Tells::kNothing)
      : tells(what), limits_(limits) {}
  Limits limits() const noexcept override { return limits_; }
  PostFailure Send(const RecordBatch& batch, BatchRange range) override {
    ++statements;
    PostFailure failure;
    if (cancelled_at == statements) {
      failure.status = Status(Code::kStopped, "cancelled");
      failure.lost = !answers;
      return failure;
    }
    if (lost_at == statements) down = true;
    if (down || (conflict_at == statements)) {
      failure.status = Status(Code::kIo, down ? "lost" : "conflict");
      failure.lost = down;
      failure.try_again = !down;
      return failure;
    }
    for (std::size_t i = range.first; i < range.end && !failure.failed(); ++i) {
      const std::int64_t number = batch.RecordNo(i);
      if (bad.count(number) == 0 && (!refuses_doubles || stored.count(number) == 0)) continue;
      failure.status = Status(Code::kDuplicateKey, "bad");
      if (tells == Tells::kRight) failure.stopped_at = i;
      if (tells == Tells::kWrong) failure.stopped_at = range.end - 1 - (i - range.first);
    }
    if (failure.failed()) return failure;
    for (std::size_t i = range.first; i < range.end; ++i)
      (in_transaction ? open : stored).insert(batch.RecordNo(i));
    return {};
  }
  PostFailure Begin() override {
    in_transaction = true;
    return {};
  }
  PostFailure Commit() override {
    ++commits;
    in_transaction = false;
    PostFailure failure;
    if (commits == failing_commit) {
      failure.status = Status(Code::kIo, "disk full");
    } else {
      stored.insert(open.begin(), open.end());
    }
    open.clear();
    return failure;
  }
  bool Reconnect() override {
    down = !comes_back;
    return comes_back;
  }
  bool RefusesDoubles() const noexcept override { return refuses_doubles; }

  Tells tells;
  std::set<std::int64_t> bad, stored, open;
  int statements = 0, commits = 0;
  int lost_at = 0, conflict_at = 0, cancelled_at = 0, failing_commit = 0;
  bool answers = false;  // that it gave up a cancelled statement
  bool down = false, comes_back = false, refuses_doubles = false, in_transaction = false;

 private:
  Limits limits_;
};

struct Posting {
  explicit Posting(FakeStrategy& strategy_of, int stop_at_error = 1 << 30)
      : strategy(strategy_of),
        poster(
            strategy, {values::TypeCode::kLong}, [this](std::int64_t n) { Heard("+", n); },
            [this, stop_at_error](std::int64_t n, const PostFailure& failure) {
              // Whatever came before a bad record is safe when its error is told.
              for (std::int64_t earlier : good) CHECK(strategy.stored.count(earlier) == 1);
              Heard("-", n);
              last_error = failure.status.message();
              doubtful += failure.doubtful ? 1 : 0;
              return ++errors < stop_at_error;
            },
            [this] { return now; }) {}

  void Heard(const char* sign, std::int64_t n) {
    CHECK(n == ++last);  // in order, none twice, none left out
    if (*sign == '+') good.insert(n);
    story += sign;
  }
  Status Add(std::int64_t n) {
    const values::Value row[] = {values::Value::Integer(n)};
    return poster.Add(n, row);
  }
  bool AddAll(int count) {
    for (std::int64_t n = 1; n <= count; ++n)
      if (!Add(n).ok()) return false;
    return poster.Flush().ok();
  }

  FakeStrategy& strategy;
  std::int64_t now = 0, last = 0;
  std::set<std::int64_t> good;
  std::string story, last_error;
  int errors = 0, doubtful = 0;
  ChunkPoster poster;
};

constexpr PostStrategy::Limits kAutocommit{.most_records = 100, .most_bytes = 1 << 20};
constexpr PostStrategy::Limits kGrouped{
    .most_records = 100, .most_bytes = 1 << 20, .commit_records = 250};

}  // namespace

TEST_CASE("every record has its outcome, in order, whichever are bad") {
  for (const PostStrategy::Limits limits : {kAutocommit, kGrouped}) {
    for (const std::set<std::int64_t>& bad :
         {std::set<std::int64_t>{}, {1}, {999}, {64, 65}, {10, 11, 12, 500, 501, 700, 999}}) {
      int statements[3];
      for (int tells = 0; tells < 3; ++tells) {
        FakeStrategy strategy(limits, static_cast<FakeStrategy::Tells>(tells));
        strategy.bad = bad;
        Posting posting(strategy);
        CHECK(posting.AddAll(999));
        CHECK(posting.last == 999);
        CHECK(posting.errors == static_cast<int>(bad.size()));
        CHECK(strategy.stored == posting.good);
        CHECK(strategy.statements < 150);  // and not one for each record
        statements[tells] = strategy.statements;
      }
      CHECK(statements[1] <= statements[0]);
    }
  }
}

TEST_CASE("nothing is stored behind the record that ends the posting") {
  for (const PostStrategy::Limits limits : {kAutocommit, kGrouped}) {
    FakeStrategy strategy(limits);
    strategy.bad = {70, 90, 95};
    Posting posting(strategy, 2);
    CHECK_FALSE(posting.AddAll(400));
    CHECK(posting.last == 90);
    CHECK(*strategy.stored.rbegin() == 89);
    CHECK(strategy.stored.size() == 88);
    CHECK(posting.Add(401).code() == Code::kStopped);
  }
}

TEST_CASE("records wait half a second at most") {
  FakeStrategy strategy(kGrouped);
  Posting posting(strategy);
  CHECK(posting.Add(1).ok());
  posting.now = 499;
  CHECK(posting.Add(2).ok());
  CHECK(posting.story.empty());
  posting.now = 501;
  CHECK(posting.Add(3).ok());
  CHECK(posting.story == "+++");
  CHECK(strategy.stored.size() == 3);
}

TEST_CASE("a commit that fails sends its records again, each alone") {
  FakeStrategy strategy(kGrouped);
  strategy.failing_commit = 1;
  strategy.bad = {30};
  Posting posting(strategy);
  CHECK(posting.AddAll(300));
  CHECK(posting.errors == 1);
  CHECK(posting.last_error == "bad");
  CHECK(strategy.stored.size() == 299);
}

TEST_CASE("a server that goes away leaves no record without an outcome") {
  struct Row {
    const char* name;
    bool comes_back, refuses_doubles;
    std::size_t stored;
  };
  // The fifth statement never arrives; what it held is refused unless it can safely be sent again.
  const Row kRows[] = {{"it stays away", false, true, 300},
                       {"it returns and has a key", true, true, 1000},
                       {"it returns without a key", true, false, 900}};
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    FakeStrategy strategy(kAutocommit);
    strategy.lost_at = 4;
    strategy.comes_back = row.comes_back;
    strategy.refuses_doubles = row.refuses_doubles;
    Posting posting(strategy);
    CHECK(posting.AddAll(1000));
    CHECK(posting.last == 1000);
    CHECK(posting.good == strategy.stored);
    CHECK(strategy.stored.size() + static_cast<std::size_t>(posting.errors) == 1000);
    CHECK(strategy.stored.size() >= row.stored - 100);
    CHECK(strategy.stored.size() <= row.stored);
    CHECK(posting.doubtful == posting.errors);  // each may be stored
  }
}

TEST_CASE("a posting that is cancelled sends nothing more and names what may be stored") {
  for (const PostStrategy::Limits limits : {kAutocommit, kGrouped})
    for (const bool answers : {false, true}) {
      FakeStrategy strategy(limits);
      strategy.cancelled_at = 3;
      strategy.answers = answers;
      Posting posting(strategy);
      CHECK_FALSE(posting.AddAll(1000));
      CHECK(strategy.statements == 3);
      // What stands in an open transaction dies with the connection.
      CHECK((posting.errors > 50) == (!answers && limits.commit_records == 0));
      CHECK(posting.doubtful == posting.errors);
      CHECK(posting.good == strategy.stored);
    }
}

TEST_CASE("a chunk undone for another writer's sake is sent again as it is") {
  FakeStrategy strategy(kAutocommit);
  strategy.conflict_at = 2;
  Posting posting(strategy);
  CHECK(posting.AddAll(500));
  CHECK(posting.errors == 0);
  CHECK(strategy.stored.size() == 500);
}

}  // namespace kelvorin::tests
