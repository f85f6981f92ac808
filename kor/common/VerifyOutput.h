#pragma once
// What one self-verification run found: a description, the place in the code
// that reported it (file, line, function) and the result. VerifySm keeps the
// weightiest report of a run in VerifyData::verifyOutput.
#include <ostream>
#include <string>

#include "kor/common/KorExport.h"
#include "kor/common/KorVerifyStatus.h"

namespace Kor {

class KOR_EXPORT VerifyOutput {
 public:
  VerifyOutput() = default;
  VerifyOutput(std::string description, std::string filename, unsigned lineNum, std::string function,
               KorTypes::KorVerifyStatus verifyResult)
      : description_(std::move(description)), filename_(std::move(filename)), lineNum_(lineNum),
        function_(std::move(function)), verifyResult_(verifyResult) {}

  std::string const& description() const { return description_; }
  std::string const& filename() const { return filename_; }
  unsigned lineNum() const { return lineNum_; }
  std::string const& function() const { return function_; }
  KorTypes::KorVerifyStatus verifyResult() const { return verifyResult_; }

  bool operator==(VerifyOutput const&) const = default;

 private:
  std::string description_;
  std::string filename_;
  unsigned lineNum_ = 0;
  std::string function_;
  KorTypes::KorVerifyStatus verifyResult_ = KorTypes::verifyReset;
};

// " File: <filename> Function: <function> Description: <description>"
KOR_EXPORT std::ostream& operator<<(std::ostream& os, VerifyOutput const& o);

}  // namespace Kor
