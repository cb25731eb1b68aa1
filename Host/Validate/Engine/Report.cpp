#include "Host/Validate/Engine/Report.h"

#include "Host/Text/Messages.h"
#include "Host/Text/Utf8.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

using Json = nlohmann::ordered_json;

namespace {

/// Text of several lines for a terminal: each line as WithoutControls gives it, without tabs, and indented by `indent`
/// from the second on. Blank lines and spaces at the end are cut.
std::string Shown(const std::string& text, std::size_t indent) {
  std::string shown;
  std::istringstream lines(ToUtf8(text));
  for (std::string line; std::getline(lines, line);) {
    std::replace(line.begin(), line.end(), '\t', ' ');
    if (!shown.empty()) {
      shown.append("\n").append(indent, ' ');
    }
    shown.append(WithoutControls(line));
  }
  return shown.substr(0, shown.find_last_not_of("\n ") + 1);
}

/// Appends a line for a detail of a failed check, unless it is empty.
void AddDetail(std::string& text, const char* key, const std::string& detail) {
  // 9 columns in front of the key and 10 for it.
  constexpr std::size_t kIndent = 19;
  if (!detail.empty()) {
    text += fmt::format("         {:10}{}\n", key, Shown(detail, kIndent));
  }
}

}  // namespace

Counts CountOutcomes(const std::vector<CheckOutcome>& outcomes) {
  Counts counts;
  for (const CheckOutcome& outcome : outcomes) {
    const Verdict verdict = outcome.result.verdict;
    ++(verdict == Verdict::kPassed ? counts.passed : verdict == Verdict::kFailed ? counts.failed : counts.skipped);
  }
  return counts;
}

std::string OutcomeText(const CheckOutcome& outcome) {
  const CheckResult& result = outcome.result;
  const bool isFailed = result.verdict == Verdict::kFailed;
  std::string text = fmt::format("{:9}{}", isFailed ? "FAILED" : VerdictText(result.verdict), outcome.check->name);
  text += result.verdict == Verdict::kSkipped ? ": " + Shown(result.reason, 0) + '\n' : "\n";
  if (isFailed) {
    AddDetail(text, "expected", result.expected);
    AddDetail(text, "actual", result.actual);
    AddDetail(text, "why", outcome.check->why);
    AddDetail(text, "printed", result.printed);
  }
  return text;
}

std::string SummaryText(const std::string& module, const Counts& counts) {
  return fmt::format("{}: {} passed, {} failed, {} skipped{}\n", WithoutControls(module), counts.passed, counts.failed,
                     counts.skipped, counts.passed + counts.failed == 0 ? ": nothing was checked" : "");
}

std::string JsonReport(const std::string& module, const std::vector<CheckOutcome>& outcomes) {
  const Counts counts = CountOutcomes(outcomes);
  // ToUtf8, here and below: dump() throws on invalid UTF-8; file names and the module's texts may be any bytes.
  Json report{
      {"module", ToUtf8(module)}, {"passed", counts.passed}, {"failed", counts.failed}, {"skipped", counts.skipped}};
  Json& checks = report["checks"] = Json::array();
  for (const auto& [check, result] : outcomes) {
    Json json{{"name", check->name},
              {"why", check->why},
              {"seconds", result.seconds},
              {"verdict", VerdictText(result.verdict)}};
    if (result.verdict == Verdict::kFailed) {
      json["expected"] = ToUtf8(result.expected);
      json["actual"] = ToUtf8(result.actual);
    } else if (result.verdict == Verdict::kSkipped) {
      json["reason"] = ToUtf8(result.reason);
    }
    json["printed"] = ToUtf8(result.printed);
    checks.push_back(std::move(json));
  }
  return report.dump(2) + '\n';
}
