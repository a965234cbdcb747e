#include "cli/defaults_command.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/plist_text.h"
#include "platform/preferences_file.h"

namespace {

constexpr char kWriteUsage[] =
    "usage: qbfa defaults write DOMAIN KEY VALUE\n"
    "       qbfa defaults write DOMAIN KEY -bool|-boolean true|false|yes|no\n"
    "       qbfa defaults write DOMAIN KEY -string TEXT\n"
    "       qbfa defaults write DOMAIN KEY -int|-integer NUMBER\n"
    "       qbfa defaults write DOMAIN KEY -float NUMBER\n";

struct Invocation {
  std::string domain = QBFA_BUNDLE_IDENTIFIER;
  std::string key;
  bool has_key = false;
  std::vector<std::string> write_arguments;
};

// Reports a failure the way every subcommand ends one.
[[noreturn]] void Fail(std::ostream& err, const std::string& message) {
  err << "qbfa defaults: " << message;
  if (!message.ends_with('\n'))
    err << '\n';
  throw CLI::RuntimeError(1);
}

UniquePlist ReadDomain(const std::string& domain, bool must_exist, std::ostream& err) {
  UniquePlist root;
  std::string error;
  switch (ReadPreferencesDomain(domain, &root, &error)) {
    case DomainState::kPresent:
      return root;
    case DomainState::kAbsent:
      if (must_exist)
        Fail(err, "the domain " + domain + " does not exist");
      return root;
    case DomainState::kUnreadable:
      break;
  }
  Fail(err, error);
}

void Print(plist_t value, std::ostream& out, std::ostream& err) {
  std::optional<std::string> text = PlistText(value);
  if (!text)
    Fail(err, "the value nests too deeply to print");
  out << *text << "\n";
}

void Read(const Invocation& invocation, std::ostream& out, std::ostream& err) {
  UniquePlist root = ReadDomain(invocation.domain, /*must_exist=*/true, err);
  if (!invocation.has_key)
    return Print(root.get(), out, err);
  plist_t value = plist_dict_get_item(root.get(), invocation.key.c_str());
  if (value == nullptr) {
    Fail(err, "the domain/default pair of (" + invocation.domain + ", " + invocation.key +
                  ") does not exist");
  }
  Print(value, out, err);
}

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

// The value that `write` was given: VALUE alone is a string; otherwise a type
// flag and its text.
plist_t ParseValue(const std::vector<std::string>& words, std::ostream& err) {
  if (words.size() == 1)
    return plist_new_string(words[0].c_str());
  if (words.size() != 2)
    Fail(err, std::string("a value is needed\n") + kWriteUsage);
  const std::string& type = words[0];
  const std::string& text = words[1];
  if (type == "-bool" || type == "-boolean") {
    for (const char* word : {"true", "yes"}) {
      if (EqualIgnoringCase(text, word))
        return plist_new_bool(1);
    }
    for (const char* word : {"false", "no"}) {
      if (EqualIgnoringCase(text, word))
        return plist_new_bool(0);
    }
    Fail(err, "\"" + text + "\" is not a boolean: use true, false, yes or no");
  }
  if (type == "-string")
    return plist_new_string(text.c_str());
  if (type == "-int" || type == "-integer") {
    int64_t number = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
      Fail(err, "\"" + text + "\" is not an integer");
    }
    // libplist keeps every integer in 64 unsigned bits.
    return plist_new_uint(static_cast<uint64_t>(number));
  }
  if (type == "-float") {
    char* end = nullptr;
    double number = std::strtod(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size()) {
      Fail(err, "\"" + text + "\" is not a number");
    }
    return plist_new_real(number);
  }
  Fail(err, "unknown value type " + type + "\n" + kWriteUsage);
}

void Store(const std::string& domain, plist_t root, std::ostream& err) {
  std::string error;
  if (!WritePreferencesDomain(domain, root, &error))
    Fail(err, error);
}

void Write(const std::vector<std::string>& arguments, std::ostream& err) {
  if (arguments.size() < 3)
    Fail(err, std::string("too few arguments\n") + kWriteUsage);
  const std::string& domain = arguments[0];
  const std::string& key = arguments[1];
  UniquePlist value(ParseValue({arguments.begin() + 2, arguments.end()}, err));
  // A file that cannot be read is left alone rather than replaced by one key.
  UniquePlist root = ReadDomain(domain, /*must_exist=*/false, err);
  plist_dict_set_item(root.get(), key.c_str(), value.release());
  Store(domain, root.get(), err);
}

void Delete(const Invocation& invocation, std::ostream& err) {
  if (!invocation.has_key) {
    bool existed = false;
    std::string error;
    if (!DeletePreferencesDomain(invocation.domain, &existed, &error))
      Fail(err, error);
    if (!existed)
      Fail(err, "the domain " + invocation.domain + " does not exist");
    return;
  }
  UniquePlist root = ReadDomain(invocation.domain, /*must_exist=*/true, err);
  if (plist_dict_get_item(root.get(), invocation.key.c_str()) == nullptr) {
    Fail(err, "the domain/default pair of (" + invocation.domain + ", " + invocation.key +
                  ") does not exist");
  }
  plist_dict_remove_item(root.get(), invocation.key.c_str());
  Store(invocation.domain, root.get(), err);
}

}  // namespace

void RegisterDefaultsCommand(CLI::App& app, std::ostream& out, std::ostream& err) {
  CLI::App* defaults = app.add_subcommand(
      "defaults", "Read and change preferences, such as the plug-in's \"Log Stuff\" switch");
  defaults->require_subcommand(1);
  auto invocation = std::make_shared<Invocation>();
  auto key_given = [invocation](const std::string&) { invocation->has_key = true; };

  CLI::App* read =
      defaults->add_subcommand("read", "Print a domain's preferences, or the value of one key");
  read->add_option("DOMAIN", invocation->domain, "The application id whose preferences to read")
      ->default_str(QBFA_BUNDLE_IDENTIFIER);
  read->add_option("KEY", invocation->key, "The key to print")->each(key_given);
  read->callback([invocation, &out, &err] { Read(*invocation, out, err); });

  CLI::App* write = defaults->add_subcommand(
      "write",
      "Set one key of a domain: DOMAIN KEY VALUE (a string), or DOMAIN KEY followed by "
      "-bool true|false|yes|no, -string TEXT, -int NUMBER or -float NUMBER");
  // Type flags such as -bool are the values' own syntax, not options: hand
  // everything after the subcommand over unparsed.
  write->prefix_command();
  write->callback([write, &err] { Write(write->remaining(), err); });

  CLI::App* remove = defaults->add_subcommand("delete", "Remove one key, or a whole domain");
  remove->add_option("DOMAIN", invocation->domain, "The application id")->required();
  remove->add_option("KEY", invocation->key, "The key to remove")->each(key_given);
  remove->callback([invocation, &err] { Delete(*invocation, err); });
}
