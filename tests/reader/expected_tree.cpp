#include "tests/reader/expected_tree.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "platform/description.h"

namespace qbfa_test {
namespace {

struct Entry {
  int line;
  std::string key;
  std::string value;
};

class Reader {
 public:
  Reader(const std::string& path, const std::map<std::string, std::string>& values)
      : path_(path), values_(values) {}

  Expectation Read() {
    std::ifstream file(path_);
    if (!file)
      throw std::runtime_error("cannot read " + path_);
    std::string text;
    while (std::getline(file, text)) {
      ++line_;
      if (text.empty() || text[0] == '#')
        continue;
      if (text.starts_with("  ")) {
        Indented(text.substr(2));
      } else {
        Heading(text);
      }
    }
    for (const auto& [name, entries] : entries_)
      dictionaries_[name] = cf::Dictionary::Create();
    for (const auto& [name, entries] : entries_)
      Fill(*dictionaries_[name], entries);
    if (has_tree_) {
      expectation_.tree = cf::Array::Create();
      for (const auto& [line, name] : tree_)
        expectation_.tree->Append(Named(name, line));
    }
    for (const auto& [line, gated, raw] : log_) {
      line_ = line;
      expectation_.log.push_back({gated, Expand(raw)});
    }
    return std::move(expectation_);
  }

 private:
  [[noreturn]] void Fail(const std::string& why) const {
    throw std::runtime_error(path_ + ":" + std::to_string(line_) + ": " + why);
  }

  void Heading(const std::string& text) {
    block_ = text;
    if (text.starts_with("exit ")) {
      expectation_.exit_code = std::stoi(text.substr(5));
    } else if (text.starts_with("font ") || text.starts_with("set ")) {
      current_ = text.substr(text.find(' ') + 1);
      if (!entries_.emplace(current_, std::vector<Entry>()).second)
        Fail("defined twice");
      block_ = "dictionary";
    } else if (text == "tree") {
      has_tree_ = true;
    } else if (text != "log") {
      Fail("unknown heading \"" + text + "\"");
    }
  }

  void Indented(const std::string& text) {
    if (block_ == "dictionary") {
      size_t colon = text.find(": ");
      if (colon == std::string::npos)
        Fail("expected \"key: value\"");
      entries_[current_].push_back({line_, text.substr(0, colon), text.substr(colon + 2)});
    } else if (block_ == "tree") {
      if (!text.starts_with("@"))
        Fail("expected @name");
      tree_.emplace_back(line_, text.substr(1));
    } else if (block_ == "log") {
      if (!(text.starts_with("+ ") || text.starts_with("= ")))
        Fail("expected \"+ \" or \"= \"");
      log_.push_back({line_, text[0] == '+', text.substr(2)});
    } else {
      Fail("indented line outside a block");
    }
  }

  cf::Ref<cf::Object> Named(const std::string& name, int line) {
    auto found = dictionaries_.find(name);
    if (found == dictionaries_.end()) {
      line_ = line;
      Fail("no dictionary called " + name);
    }
    return found->second;
  }

  void Fill(cf::Dictionary& dictionary, const std::vector<Entry>& entries) {
    for (const Entry& entry : entries) {
      line_ = entry.line;
      if (entry.key == "Fonts" || entry.key == "Children" || entry.key == "ChildrenNames") {
        cf::Ref<cf::Object> element;
        if (entry.key == "ChildrenNames") {
          element = String(entry.value);
        } else if (entry.value.starts_with("@")) {
          element = Named(entry.value.substr(1), entry.line);
        } else {
          Fail("expected @name");
        }
        if (!dictionary.GetArray(entry.key))
          dictionary.Set(entry.key, cf::Array::Create());
        dictionary.GetArray(entry.key)->Append(element);
      } else if (entry.key == "HasParents") {
        if (entry.value != "true")
          Fail("HasParents is only ever true");
        dictionary.Set(entry.key, cf::Boolean::True());
      } else {
        if (dictionary.Contains(entry.key))
          Fail("key given twice");
        dictionary.Set(entry.key, String(entry.value));
      }
    }
  }

  cf::Ref<cf::Object> String(const std::string& raw) {
    cf::Ref<cf::String> string = cf::String::Create(Expand(raw));
    if (!string)
      Fail("not UTF-8");
    return string;
  }

  // Replaces ${NAME}, {}, {@x} and {array @x @y ...}.
  std::string Expand(const std::string& raw) {
    std::string out;
    for (size_t i = 0; i < raw.size();) {
      if (raw.compare(i, 2, "${") == 0) {
        size_t end = raw.find('}', i);
        if (end == std::string::npos)
          Fail("unclosed ${");
        std::string name = raw.substr(i + 2, end - i - 2);
        auto value = values_.find(name);
        if (value == values_.end())
          Fail("no value for ${" + name + "}");
        out += value->second;
        i = end + 1;
      } else if (raw[i] == '{') {
        size_t end = raw.find('}', i);
        if (end == std::string::npos)
          Fail("unclosed {");
        out += Description(raw.substr(i + 1, end - i - 1));
        i = end + 1;
      } else {
        out += raw[i++];
      }
    }
    return out;
  }

  std::string Description(const std::string& inner) {
    if (inner.empty())
      return "";
    std::istringstream words(inner);
    std::string word;
    words >> word;
    if (word.starts_with("@"))
      return cf::Describe(Named(word.substr(1), line_).get());
    if (word != "array")
      Fail("unknown {" + inner + "}");
    cf::Ref<cf::Array> array = cf::Array::Create();
    while (words >> word) {
      if (!word.starts_with("@"))
        Fail("expected @name in {array ...}");
      array->Append(Named(word.substr(1), line_));
    }
    return cf::Describe(array.get());
  }

  const std::string path_;
  const std::map<std::string, std::string>& values_;
  int line_ = 0;
  std::string block_;
  std::string current_;
  bool has_tree_ = false;
  std::map<std::string, std::vector<Entry>> entries_;
  std::map<std::string, cf::Ref<cf::Dictionary>> dictionaries_;
  std::vector<std::pair<int, std::string>> tree_;
  struct RawLogLine {
    int line;
    bool gated;
    std::string text;
  };
  std::vector<RawLogLine> log_;
  Expectation expectation_;
};

}  // namespace

std::string Expectation::Log(bool logging) const {
  std::string text;
  for (const LogLine& line : log) {
    if (logging || !line.gated)
      text += line.text + "\n";
  }
  return text;
}

Expectation ReadExpectation(const std::string& path,
                            const std::map<std::string, std::string>& values) {
  return Reader(path, values).Read();
}

}  // namespace qbfa_test
