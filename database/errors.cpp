#include "database/errors.h"

namespace kelvorin::database {

std::int32_t DefaultNumber(Code code) noexcept {
  const auto of = [](ErrorNumber n) { return static_cast<std::int32_t>(n); };
  switch (code) {
    case Code::kOk:
      return 0;
    case Code::kInvalidArgument:
    case Code::kOutOfRange:
      return of(ErrorNumber::kInvalidArgument);
    case Code::kNotFound:
      return of(ErrorNumber::kFileNotFound);
    case Code::kAlreadyExists:
      return of(ErrorNumber::kTableExists);
    case Code::kNoCurrentRecord:
      return of(ErrorNumber::kNoCurrentRecord);
    case Code::kNoCurrentEdit:
      return of(ErrorNumber::kNoCurrentEdit);
    case Code::kConversion:
      return of(ErrorNumber::kConversion);
    case Code::kTooLong:
      return of(ErrorNumber::kFieldTooSmall);
    case Code::kRequired:
      return of(ErrorNumber::kRequired);
    case Code::kDuplicateKey:
      return of(ErrorNumber::kDuplicateKey);
    case Code::kIntegrity:
      return of(ErrorNumber::kRelated);
    case Code::kReadOnly:
      return of(ErrorNumber::kReadOnly);
    case Code::kNotSupported:
      return of(ErrorNumber::kNotSupported);
    case Code::kPassword:
      return of(ErrorNumber::kWrongPassword);
    case Code::kLocked:
      return of(ErrorNumber::kSharingViolation);
    case Code::kCorrupt:
      return of(ErrorNumber::kCorrupt);
    case Code::kIo:
      return of(ErrorNumber::kIo);
    case Code::kNoSpace:
      return of(ErrorNumber::kDiskFull);
    case Code::kStopped:
    case Code::kInternal:
      return of(ErrorNumber::kInternal);
  }
  return of(ErrorNumber::kInternal);
}

}  // namespace kelvorin::database
