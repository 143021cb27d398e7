// What the crash mail of a daemon gathers of its logs, shown on the console.
#include "ops/op_DaemonLogs.h"

#include <algorithm>
#include <string>

#include "app/supervision/app_AppManager.h"
#include "host/base/fw_Container.h"
#include "host/base/ut_Path.h"
#include "host/console/fw_Console.h"
#include "util/fw_ShownText.h"

namespace services::ops {

using framework::Console;
using framework::Ok;
using framework::Refused;
using utility::Path;

namespace {

constexpr std::size_t mostShown = 262144;
constexpr int secondsToGather = 10;

// Keeps the end of what is written.
class EndOfText : public framework::OutputStream {
 public:
  bool StartOutputStream() override { return true; }
  void EndOutputStream() override {}
  bool SendOutputStream(const char* data, unsigned int size) override {
    m_text.append(data, size);
    m_size += size;
    if (m_text.size() > 2 * mostShown) m_text.erase(0, m_text.size() - mostShown);
    return true;
  }
  bool isOutputStreamOpen() override { return true; }
  bool isOutputStreamInError() override { return false; }
  bool isOutputStreamAtEnd() override { return false; }

  // Whole lines, as far as they are that short.
  std::string_view end() const {
    std::string_view text = m_text;
    if (m_size <= mostShown) return text;
    text = text.substr(text.size() - mostShown);
    const std::size_t line = text.find('\n') + 1;  // 0 where there is none
    return line == text.size() ? text : text.substr(line);
  }
  std::size_t leftOut() const { return m_size - end().size(); }

 private:
  std::string m_text;
  std::size_t m_size = 0;
};

void write(Console& console, std::string text) {
  std::ranges::replace(text, '\t', ' ');
  text = framework::shownLines(text);
  if (!text.ends_with('\n')) text += '\n';
  console.output().PutB(text.data(), static_cast<int>(text.size()));
}

}  // namespace

void showDaemonLogs(Console& console, const char* name) {
  const std::string script = app::AppManager::logScript(name);
  if (!Path::isExecutable(script.c_str())) {
    console.reply(Refused, "no logs of %s can be gathered: %s %s\n", name, script.c_str(),
                  Path::exists(script.c_str()) ? "cannot be executed" : "does not exist");
    return;
  }
  EndOfText logs;
  const framework::CommandBudget budget(secondsToGather);
  const int status = framework::Container::spawn((script + " 2>&1").c_str(), nullptr, &logs);
  if (logs.leftOut() > 0) console.reply(Ok, "... %zu bytes are left out\n", logs.leftOut());
  if (!logs.end().empty()) write(console, std::string(logs.end()));
  if (status < 0) {
    console.reply(Refused, "%s did not end within %d s\n", script.c_str(), secondsToGather);
  } else if (status > 0) {
    console.reply(Ok, "%s ended with exit status %d\n", script.c_str(), status);
  } else if (logs.end().empty()) {
    console.reply(Ok, "%s has no log entries\n", name);
  }
}

}  // namespace services::ops
