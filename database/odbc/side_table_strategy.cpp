#include "database/odbc/side_table_strategy.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "base/M_STRING.h"
#include "database/engine.h"

namespace kelvorin::database::odbc {
namespace {

constexpr std::size_t kMostRecords = 10000;
constexpr std::size_t kMostValues = 250'000;  // of a batch; they are remembered one by one
// A smaller batch is not worth a file.
constexpr std::size_t kLeastBatch = 64;
// Of a statement that spells its values out.
constexpr std::size_t kMostListed = 500;
constexpr std::size_t kMostListedBytes = 900'000;

PostStrategy::Limits SideLimits(std::size_t fields) {
  PostStrategy::Limits limits;
  limits.most_records = limits.commit_records = std::min(kMostRecords, kMostValues / fields);
  limits.whole_batches = true;
  return limits;
}

bool MayHavePoint(database::TypeCode type) {
  using enum database::TypeCode;
  return type == kCurrency || type == kSingle || type == kDouble || type == kNumeric ||
         type == kDecimal || type == kFloat;
}

}  // namespace

SideTableStrategy::SideTableStrategy(Session& session, const std::string& into,
                                     bool refuses_doubles, const PostTarget& target,
                                     std::vector<bool> reads_digits)
    : SqlStrategy(session, into, refuses_doubles, SideLimits(target.fields.size())),
      side_(target.fields.size()),
      reads_digits_(std::move(reads_digits)) {
  select_ = this->into() + "SELECT ";
  for (std::size_t i = 0; i < target.fields.size(); ++i) {
    if (i != 0) select_ += ',';
    const std::string column = "c" + base::ToDecimal(static_cast<std::int64_t>(i));
    const int field = target.def.FindField(target.fields[i]);
    takes_points_.push_back(MayHavePoint(target.def.Fields[static_cast<std::size_t>(field)].Type));
    // SQLite shall make a number with a point of its digits, as it does with those in a statement:
    // it stands in the file as text where the column sees to that, else as bytes.
    if (takes_points_.back() && !reads_digits_[i]) {
      select_.append("CASE typeof(").append(column).append(") WHEN 'blob' THEN CAST(");
      select_.append(column).append(" AS TEXT)+0.0 ELSE ").append(column).append(" END");
    } else {
      select_ += column;
    }
  }
}

std::unique_ptr<PostStrategy> SideTableStrategy::Make(Session& session, const std::string& into,
                                                      bool refuses_doubles,
                                                      const PostTarget& target,
                                                      std::vector<bool> reads_digits) {
  try {
    std::unique_ptr<SideTableStrategy> strategy(
        new SideTableStrategy(session, into, refuses_doubles, target, std::move(reads_digits)));
    if (strategy->Attach()) return strategy;
  } catch (const Error&) {
    // no temporary file
  }
  return nullptr;
}

bool SideTableStrategy::Attach() {
  Statement statement(session().connection());
  for (const char* schema : {"kelvorin_side1", "kelvorin_side2"}) {
    const std::string sql = "ATTACH DATABASE " + Literal(session(), side_.path()) + " AS " + schema;
    if (!Succeeded(statement.Send(Utf8Name(sql)))) continue;
    side_.Unname();
    schema_ = schema;
    // A connection that keeps its locks would never see the file change.
    if (!Succeeded(statement.Send("PRAGMA " + schema_ + ".locking_mode=NORMAL"))) return false;
    select_ += " FROM " + schema_ + ".r WHERE rowid>";
    return true;
  }
  return false;
}

SideTableStrategy::~SideTableStrategy() {
  if (schema_.empty() || !session().connection().open()) return;
  EndTransaction();
  try {
    Statement(session().connection()).Send("DETACH DATABASE " + schema_);
  } catch (const Error&) {
    // it goes with the connection
  }
}

// The digits of a number. False where the file cannot say what they are.
bool SideTableStrategy::AddPlain(std::string_view digits, std::size_t field) {
  const char* const end = digits.data() + digits.size();
  std::int64_t number = 0;
  const auto read = std::from_chars(digits.data(), end, number);
  if (read.ec == std::errc() && read.ptr == end) {
    side_.AddInteger(number);
    return true;
  }
  if (reads_digits_[field]) {
    side_.AddText(digits);
    return true;
  }
  side_.AddBytes(digits);
  return takes_points_[field];
}

void SideTableStrategy::Load(const RecordBatch& batch) {
  side_.Clear();
  unfit_.assign(batch.size(), false);
  for (std::size_t i = 0; i < batch.size(); ++i) {
    bool fits = true;
    for (std::size_t field = 0; field < batch.fields(); ++field) {
      switch (batch.Kind(i, field)) {
        case CellKind::kNull:
          side_.AddNull();
          break;
        case CellKind::kWhole:
          side_.AddInteger(batch.Whole(i, field));
          break;
        case CellKind::kPlain:
          fits &= AddPlain(batch.Text(i, field), field);
          break;
        case CellKind::kQuoted:
          side_.AddText(batch.Text(i, field));
      }
    }
    fits &= side_.EndRow();
    unfit_[i] = !fits;
  }
  try {
    side_.Write();
  } catch (const Error&) {
    unfit_.assign(batch.size(), true);  // the temporary folder is full
  }
  generation_ = batch.generation();
}

PostFailure SideTableStrategy::Send(const RecordBatch& batch, BatchRange range) {
  if (range.size() == 1 || batch.size() < kLeastBatch) return SqlStrategy::Send(batch, range);
  try {
    // The first chunk of a batch opens its transaction, so nobody reads the file by now.
    if (generation_ != batch.generation()) Load(batch);
    const auto at = [&](std::size_t i) { return unfit_.begin() + static_cast<std::ptrdiff_t>(i); };
    if (std::find(at(range.first), at(range.end), true) != at(range.end)) {
      if (range.size() <= kMostListed && batch.Bytes(range) <= kMostListedBytes)
        return SqlStrategy::Send(batch, range);
      PostFailure too_long;  // to be halved
      too_long.status = Status(Code::kTooLong, "the records are too long for one statement");
      return too_long;
    }
    sql_ = select_ + base::ToDecimal(static_cast<std::int64_t>(range.first)) +
           " AND rowid<=" + base::ToDecimal(static_cast<std::int64_t>(range.end));
    return SendText(sql_);
  } catch (const Error& error) {
    return FailureOf(error);
  }
}

}  // namespace kelvorin::database::odbc
