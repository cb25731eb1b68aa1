#include "Host/Validate/Engine/Report.h"

#include "Host/Text/Utf8.h"

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

namespace {

const char* VerdictWord(Verdict verdict) {
  return verdict == Verdict::kPassed ? "passed" : verdict == Verdict::kFailed ? "FAILED" : "skipped";
}

/// For a terminal: control characters become question marks, and each line after the first is indented under it.
std::string Shown(const std::string& text, std::size_t indent) {
  std::string shown;
  for (const char character : ToUtf8(text)) {
    const auto byte = static_cast<unsigned char>(character);
    shown += byte == '\n' || byte == '\t' || (byte >= 0x20 && byte != 0x7F) ? character : '?';
    if (character == '\n') {
      shown.append(indent, ' ');
    }
  }
  return shown.substr(0, shown.find_last_not_of("\n ") + 1);
}

void AddDetail(std::string& text, const char* key, const std::string& detail) {
  constexpr std::size_t kIndent = 9;
  constexpr std::size_t kKeyWidth = 10;
  if (detail.empty()) {
    return;
  }
  std::string line(kIndent, ' ');
  line += key;
  line.resize(kIndent + kKeyWidth, ' ');
  text += line + Shown(detail, kIndent + kKeyWidth) + '\n';
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
  std::string text = VerdictWord(result.verdict);
  text.resize(9, ' ');
  text += outcome.check->name;
  text += result.verdict == Verdict::kSkipped ? ": " + Shown(result.reason, 0) + '\n' : "\n";
  if (result.verdict == Verdict::kFailed) {
    AddDetail(text, "expected", result.expected);
    AddDetail(text, "came", result.came);
    AddDetail(text, "why", outcome.check->why);
    AddDetail(text, "printed", result.printed);
  }
  return text;
}

std::string SummaryText(const std::string& module, const Counts& counts) {
  return Shown(module, 0) + ": " + std::to_string(counts.passed) + " passed, " + std::to_string(counts.failed) +
         " failed, " + std::to_string(counts.skipped) + " skipped\n";
}

std::string JsonReport(const std::string& module, const std::vector<CheckOutcome>& outcomes) {
  const Counts counts = CountOutcomes(outcomes);
  Json report{
      {"module", ToUtf8(module)}, {"passed", counts.passed}, {"failed", counts.failed}, {"skipped", counts.skipped}};
  Json& checks = report["checks"] = Json::array();
  for (const auto& [check, result] : outcomes) {
    Json json{{"name", check->name}, {"why", check->why}, {"seconds", result.seconds}};
    switch (result.verdict) {
      case Verdict::kPassed:
        json["verdict"] = "passed";
        break;
      case Verdict::kFailed:
        json["verdict"] = "failed";
        json["expected"] = ToUtf8(result.expected);
        json["came"] = ToUtf8(result.came);
        break;
      case Verdict::kSkipped:
        json["verdict"] = "skipped";
        json["reason"] = ToUtf8(result.reason);
        break;
    }
    json["printed"] = ToUtf8(result.printed);
    checks.push_back(std::move(json));
  }
  return report.dump(2) + '\n';
}
