#include "Host/Validate/Engine/Report.h"
#include "Host/Validate/Engine/XmlText.h"

#include <map>
#include <pugixml.hpp>
#include <sstream>

namespace {

/// Seconds with three decimals, the form of the attribute "time".
std::string SecondsText(double seconds) { return fmt::format("{:.3f}", seconds); }

/// Appends an attribute. `value` must be valid in XML (see XmlText); pugixml escapes markup only.
void Set(pugi::xml_node node, const char* name, const std::string& value) {
  node.append_attribute(name).set_value(value.c_str());
}

/// The attributes that <testsuites> and each <testsuite> have in common.
void SetNumbers(pugi::xml_node node, const std::vector<CheckOutcome>& outcomes) {
  const Counts counts = CountOutcomes(outcomes);
  double seconds = 0;
  for (const CheckOutcome& outcome : outcomes) {
    seconds += outcome.result.seconds;
  }
  Set(node, "tests", fmt::to_string(outcomes.size()));
  Set(node, "failures", fmt::to_string(counts.failed));
  // The form tells failures from errors of the test itself; every check that does not pass is a failure.
  Set(node, "errors", "0");
  Set(node, "skipped", fmt::to_string(counts.skipped));
  Set(node, "time", SecondsText(seconds));
}

/// Appends a <testcase> of `group`. Its name is the check's without the group, which is its class name.
void AddCase(pugi::xml_node suite, const std::string& group, const CheckOutcome& outcome) {
  const CheckResult& result = outcome.result;
  pugi::xml_node testCase = suite.append_child("testcase");
  Set(testCase, "name", std::string(outcome.check->name).substr(group.size() + 1));
  Set(testCase, "classname", group);
  Set(testCase, "time", SecondsText(result.seconds));
  if (result.verdict == Verdict::kFailed) {
    pugi::xml_node failure = testCase.append_child("failure");
    Set(failure, "message", XmlText(fmt::format("expected {}, actual {}", result.expected, result.actual)));
    failure.text().set(outcome.check->why);
  } else if (result.verdict == Verdict::kSkipped) {
    Set(testCase.append_child("skipped"), "message", XmlText(result.reason));
  }
  if (!result.printed.empty()) {
    testCase.append_child("system-out").text().set(XmlText(result.printed).c_str());
  }
}

}  // namespace

std::string JUnitReport(const std::string& module, const std::vector<CheckOutcome>& outcomes) {
  std::map<std::string, std::vector<CheckOutcome>> groups;
  for (const CheckOutcome& outcome : outcomes) {
    const std::string name = outcome.check->name;
    groups[name.substr(0, name.find('.'))].push_back(outcome);
  }
  pugi::xml_document document;
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  Set(declaration, "version", "1.0");
  Set(declaration, "encoding", "UTF-8");
  pugi::xml_node suites = document.append_child("testsuites");
  Set(suites, "name", XmlText(module));
  SetNumbers(suites, outcomes);
  for (const auto& [group, ofGroup] : groups) {
    pugi::xml_node suite = suites.append_child("testsuite");
    Set(suite, "name", group);
    SetNumbers(suite, ofGroup);
    for (const CheckOutcome& outcome : ofGroup) {
      AddCase(suite, group, outcome);
    }
  }
  std::ostringstream text;
  document.save(text, "  ");
  return text.str();
}
