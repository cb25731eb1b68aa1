#include "Host/Validate/Engine/Report.h"
#include "Host/Validate/Engine/XmlText.h"

#include <fmt/format.h>
#include <map>
#include <pugixml.hpp>
#include <sstream>

namespace {

/// The style sheet, inside the page so that the file can be mailed or archived alone. It must not contain <, > or &:
/// the XML writer escapes them, and browsers do not decode escapes in <style>.
constexpr const char* kStyle = R"(
:root { --ink: #1d2330; --quiet: #5d6778; --line: #dfe3ea; --paper: #fff; --back: #f4f6f9;
        --passed: #1a7f4b; --failed: #b3261e; --skipped: #8a6100; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e6e9ef; --quiet: #9aa4b5; --line: #343b48; --paper: #1c212b; --back: #141820;
          --passed: #5ed39a; --failed: #ff8a80; --skipped: #f0c060; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--back); color: var(--ink); font: 15px/1.5 system-ui, sans-serif; }
main { max-width: 60rem; margin: 0 auto; padding: 2rem 1rem 4rem; }
h1 { font-size: 1.5rem; margin: 0; overflow-wrap: anywhere; }
h2 { font-size: 1.1rem; margin: 2.2rem 0 .6rem; }
.verdict { font-size: 1.05rem; margin: .3rem 0 1rem; }
.counts { display: flex; gap: .75rem; flex-wrap: wrap; padding: 0; margin: 0; list-style: none; }
.counts li { background: var(--paper); border: 1px solid var(--line); border-radius: .5rem; padding: .5rem 1rem; }
.counts b { font-size: 1.4rem; display: block; line-height: 1.2; }
.passed b, .passed .mark { color: var(--passed); }
.failed b, .failed .mark { color: var(--failed); }
.skipped b, .skipped .mark { color: var(--skipped); }
article { background: var(--paper); border: 1px solid var(--line); border-left: .3rem solid var(--failed);
          border-radius: .5rem; padding: .8rem 1rem; margin: 0 0 .8rem; }
article h3 { margin: 0; font: 600 1rem ui-monospace, monospace; }
article p { margin: .2rem 0 .6rem; color: var(--quiet); }
dl { display: grid; grid-template-columns: 6rem 1fr; gap: .3rem 1rem; margin: 0; }
dt { color: var(--quiet); }
dd { margin: 0; font-family: ui-monospace, monospace; font-size: .9rem; white-space: pre-wrap; overflow-wrap: anywhere; }
table { width: 100%; border-collapse: collapse; background: var(--paper); border: 1px solid var(--line); }
td { border-top: 1px solid var(--line); padding: .35rem .7rem; vertical-align: top; overflow-wrap: anywhere; }
td:first-child { width: 5rem; }
td:nth-child(2) { width: 15rem; font-family: ui-monospace, monospace; font-size: .9rem; }
td:last-child { width: 5rem; text-align: right; color: var(--quiet); font-variant-numeric: tabular-nums; }
td small { color: var(--quiet); display: block; }
@media (max-width: 40rem) {
  dl, tr { display: block; }
  tr { border-top: 1px solid var(--line); padding: .4rem .7rem; }
  td:first-child, td:nth-child(2) { display: inline; border: 0; padding: 0 .6rem 0 0; }
  td:nth-child(3) { display: block; border: 0; padding: 0; }
  td:last-child { display: none; } }
@media print { body { background: none; } article { break-inside: avoid; } }
)";

/// Appends an element with this text, escaped; `className` may be null. Returns the element.
pugi::xml_node Add(pugi::xml_node parent, const char* element, const std::string& text,
                   const char* className = nullptr) {
  pugi::xml_node node = parent.append_child(element);
  if (className != nullptr) {
    node.append_attribute("class").set_value(className);
  }
  node.text().set(XmlText(text).c_str());
  return node;
}

/// Appends a list item with a large number above its verdict, which is also its class in the style sheet.
void AddCount(pugi::xml_node list, std::size_t count, const char* verdict) {
  pugi::xml_node item = list.append_child("li");
  item.append_attribute("class").set_value(verdict);
  Add(item, "b", fmt::to_string(count));
  item.append_child(pugi::node_pcdata).set_value(verdict);
}

/// Appends a box that describes a failed check. Leaves out details that are empty.
void AddFailure(pugi::xml_node parent, const CheckOutcome& outcome) {
  pugi::xml_node article = parent.append_child("article");
  Add(article, "h3", outcome.check->name);
  Add(article, "p", outcome.check->why);
  pugi::xml_node list = article.append_child("dl");
  const CheckResult& result = outcome.result;
  for (const auto& [term, text] : {std::pair("expected", &result.expected), std::pair("actual", &result.actual),
                                   std::pair("printed", &result.printed)}) {
    if (!text->empty()) {
      Add(list, "dt", term);
      Add(list, "dd", *text);
    }
  }
}

/// Appends a table row for a check: verdict, name, why it matters (and why it was skipped), duration.
void AddRow(pugi::xml_node table, const CheckOutcome& outcome) {
  const char* const verdict = VerdictText(outcome.result.verdict);
  pugi::xml_node row = table.append_child("tr");
  row.append_attribute("class").set_value(verdict);
  Add(row, "td", verdict, "mark");
  Add(row, "td", outcome.check->name);
  pugi::xml_node text = Add(row, "td", outcome.check->why);
  if (!outcome.result.reason.empty()) {
    Add(text, "small", outcome.result.reason);
  }
  Add(row, "td", fmt::format("{:.2f} s", outcome.result.seconds));
}

}  // namespace

std::string HtmlReport(const std::string& module, const std::vector<CheckOutcome>& outcomes) {
  const Counts counts = CountOutcomes(outcomes);
  const std::string file = module.substr(module.rfind('/') + 1);
  pugi::xml_document document;
  // Without the doctype, browsers lay the page out in quirks mode.
  document.append_child(pugi::node_doctype).set_value("html");
  pugi::xml_node html = document.append_child("html");
  html.append_attribute("lang").set_value("en");
  pugi::xml_node head = html.append_child("head");
  head.append_child("meta").append_attribute("charset").set_value("utf-8");
  pugi::xml_node viewport = head.append_child("meta");
  viewport.append_attribute("name").set_value("viewport");
  viewport.append_attribute("content").set_value("width=device-width, initial-scale=1");
  Add(head, "title", fmt::format("{}: {} failed, {} passed", file, counts.failed, counts.passed));
  Add(head, "style", kStyle);

  pugi::xml_node body = html.append_child("body").append_child("main");
  Add(body, "h1", file);
  Add(body, "p",
      counts.failed != 0   ? "This module does not do all that hosts rely on."
      : counts.passed != 0 ? "No check failed."
                           : "Nothing was checked.",
      "verdict");
  pugi::xml_node list = body.append_child("ul");
  list.append_attribute("class").set_value("counts");
  AddCount(list, counts.failed, "failed");
  AddCount(list, counts.passed, "passed");
  AddCount(list, counts.skipped, "skipped");
  if (counts.failed != 0) {
    Add(body, "h2", "What failed");
  }
  for (const CheckOutcome& outcome : outcomes) {
    if (outcome.result.verdict == Verdict::kFailed) {
      AddFailure(body, outcome);
    }
  }
  // A table for each group. Checks of one group need not follow one another, so each group keeps its table.
  std::map<std::string, pugi::xml_node> tables;
  for (const CheckOutcome& outcome : outcomes) {
    const std::string name = outcome.check->name;
    const std::string group = name.substr(0, name.find('.'));
    if (tables.find(group) == tables.end()) {
      Add(body, "h2", group);
      tables[group] = body.append_child("table");
    }
    AddRow(tables[group], outcome);
  }
  std::ostringstream text;
  // HTML has no XML declaration. Only <meta/> is written as an empty element; HTML forbids an end tag for it.
  document.save(text, "", pugi::format_raw | pugi::format_no_declaration);
  return text.str();
}
