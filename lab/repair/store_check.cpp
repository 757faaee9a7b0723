#include "lab/repair/store_check.h"

#include <windows.h>

#include <algorithm>
#include <vector>

#include "lab/common/qsf_file.h"
#include "lab/common/text.h"

namespace lab {
namespace {

// A file whose first line is no store file's, and in which nothing else of one can be read either.
bool IsForeign(const std::wstring& path, const std::vector<QsfProblem>& problems) {
  const bool header = std::any_of(problems.begin(), problems.end(), [](const QsfProblem& problem) {
    return problem.damage == QsfDamage::kHeader;
  });
  QsfContent content;
  ReadQsf(path, &content);
  return header && content.main.owner.empty() && content.messageSizes.empty();
}

StoreFinding ErrorFinding(const std::wstring& path, const wchar_t* what) {
  return {RepairOutcome::kErrorBox, L"The file " + path + what, 0};
}

std::wstring Join(const std::vector<QsfProblem>& problems) {
  std::wstring text;
  for (const QsfProblem& problem : problems) {
    if (!text.empty()) text += L"; ";
    text += WideFromUtf8(problem.text);
  }
  return text;
}

StoreFinding JudgeProblems(const std::wstring& path, const std::vector<QsfProblem>& problems) {
  if (problems.empty()) return {};
  if (IsForeign(path, problems)) return ErrorFinding(path, L" is not a store file.");
  const bool minor = std::all_of(problems.begin(), problems.end(),
                                 [](const QsfProblem& problem) { return problem.minor; });
  const RepairOutcome outcome = minor ? RepairOutcome::kMinor : RepairOutcome::kErrors;
  return {outcome, Join(problems), problems.size()};
}

}  // namespace

StoreFinding ExamineStore(const std::wstring& path) {
  std::vector<QsfProblem> problems;
  switch (CheckQsf(path, &problems)) {
    case QsfStatus::kMissing:
      return ErrorFinding(path, L" does not exist.");
    case QsfStatus::kLocked:
      return ErrorFinding(path, L" is in use by another program.");
    case QsfStatus::kFailed:
      return ErrorFinding(path, L" cannot be read.");
    default:
      return JudgeProblems(path, problems);
  }
}

std::wstring BackupPathOf(const std::wstring& path) {
  const size_t name = path.rfind(L'\\') + 1;
  const size_t dot = path.rfind(L'.');
  const bool hasExtension = dot != std::wstring::npos && dot >= name;
  return path.substr(0, hasExtension ? dot : path.size()) + L".bak";
}

bool BackupExists(const std::wstring& path) {
  return GetFileAttributesW(BackupPathOf(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool RepairStore(const std::wstring& path, std::wstring* text) {
  if (!CopyFileW(path.c_str(), BackupPathOf(path).c_str(), FALSE)) {
    *text = L"The backup file " + BackupPathOf(path) + L" cannot be written.";
    return false;
  }
  if (RepairQsf(path) != QsfStatus::kOk) {
    *text = L"The file " + path + L" cannot be repaired.";
    return false;
  }
  const StoreFinding finding = ExamineStore(path);
  *text = finding.text;
  return finding.outcome == RepairOutcome::kSound;
}

}  // namespace lab
