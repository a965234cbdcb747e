#include "tests/reader/fake_sqlite.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <map>

struct sqlite {
  int unused;
};

namespace fake_sqlite {
namespace {

::sqlite handle;

struct Script {
  std::map<std::string, Answer> answers;
  std::vector<std::string> statements;
};

Script& TheScript() {
  static Script script;
  return script;
}

}  // namespace

void Reset() {
  TheScript() = Script();
}

void SetAnswer(const std::string& statement, Answer answer) {
  TheScript().answers[statement] = std::move(answer);
}

const std::vector<std::string>& Statements() {
  return TheScript().statements;
}

sqlite* Handle() {
  return &handle;
}

}  // namespace fake_sqlite

extern "C" {

sqlite* sqlite_open(const char*, int, char**) {
  return &fake_sqlite::handle;
}

void sqlite_close(sqlite*) {}

void sqlite_freemem(void* p) {
  std::free(p);
}

int sqlite_exec_printf(sqlite*, const char* sqlFormat, sqlite_callback xCallback, void* pArg,
                       char** errmsg, ...) {
  va_list arguments;
  va_start(arguments, errmsg);
  char statement[4096];
  std::vsnprintf(statement, sizeof statement, sqlFormat, arguments);
  va_end(arguments);
  fake_sqlite::TheScript().statements.push_back(statement);

  auto found = fake_sqlite::TheScript().answers.find(statement);
  if (found == fake_sqlite::TheScript().answers.end())
    return SQLITE_OK;
  const fake_sqlite::Answer& answer = found->second;
  for (const auto& row : answer.rows) {
    std::vector<char*> names, values;
    for (const auto& [name, value] : row) {
      names.push_back(const_cast<char*>(name.c_str()));
      values.push_back(value ? const_cast<char*>(value->c_str()) : nullptr);
    }
    names.push_back(nullptr);
    values.push_back(nullptr);
    if (xCallback(pArg, static_cast<int>(row.size()), values.data(), names.data()) != 0) {
      return SQLITE_ABORT;
    }
  }
  if (answer.error && errmsg != nullptr)
    *errmsg = strdup(answer.error->c_str());
  return answer.rc;
}

}  // extern "C"
