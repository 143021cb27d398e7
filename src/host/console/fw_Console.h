// The console as a command sees it: where its answers go, and whose console it is.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "host/console/fw_ConsoleTable.h"

namespace framework {

class Service;

/// The reply codes of the console; any but Ok makes the client's exit status 1.
enum ReplyCode {
  Ok = 0,
  Usage = 1,     ///< an unknown or malformed command
  Refused = 13,  ///< understood, but not done
};

/// A console: that of one client, or the host's own, which stands for all of them.
///
/// A command's answer is rendered into memory and sent when the command is done, so that no lock
/// of a service is ever held while a client's socket is written. Apart from the switch, the
/// current service and the output lock, a console belongs to one thread at a time.
class Console {
 public:
  /// `peer` is the process id of the client, 0 when there is none.
  explicit Console(int peer = 0);

  /// The client is gone: does what was left to atClose().
  virtual ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// The stream into which commands write their output. It has no bound.
  utility::PutStream& output() { return m_stream; }

  /// Lock and unlock the output, so that the lines of one writer are not mixed with another's. A
  /// failure (locking twice, unlocking what is not locked) is said on standard output.
  void outputLock();
  void outputUnLock();

  /// Answers with a code and a text formatted as by printf(3). The first code of a command that is
  /// not Ok is the command's.
  virtual void reply(int code, const char* format, ...) __attribute__((format(printf, 3, 4)));

  int getPeer() const { return m_peer; }

  /// Whether nobody waits for the answer of the command that this thread runs, since the client has
  /// left or the host stops: what takes long may end. A thread's `gone` tells it.
  static bool isClientGone();
  static void setClientGone(std::function<bool()> gone);

  /// Asks for records in the place of the present answer's tables: what is answered with Ok is then
  /// one JSON text (ListingStream::endRecords).
  void askForRecords() { m_stream.askForRecords(); }

  /// Ends the answer: moves all that was written since the last call to `text` and answers the
  /// code.
  int takeReply(std::string& text);

  /// Leaves an action for when the present command's reply has been sent.
  void afterReply(std::function<void()> action) { m_afterReply = std::move(action); }
  /// Does it, once.
  void replySent();

  /// Leaves an action for when the client has disconnected, in place of what was left under the
  /// same key. It must not throw. Null takes back what was left.
  void atClose(const std::string& key, std::function<void()> action);
  /// Whether something is left to it.
  bool isLeftToClose() const { return !m_atClose.empty(); }

  /// Whether clients are served; at first they are. Of the host's console it counts for all
  /// clients. Any thread may call.
  bool isEnabled() const { return m_enabled; }
  /// Switch that, and answer true. What a disabled console still does is ConsoleServer's to say.
  bool enable();
  bool disable();

  /// The service that the host's console serves at present, null for none; while it is ConsoleHold
  /// the console is not to be switched. The service outlives that time. Any thread may call.
  Service* getCurrentService() const { return m_currentService; }
  void setCurrentService(Service* service) { m_currentService = service; }

 private:
  // Collects the answer.
  class TextStream : public OutputStream {
   public:
    bool StartOutputStream() override;
    void EndOutputStream() override {}
    bool SendOutputStream(const char* data, unsigned int size) override;
    bool isOutputStreamOpen() override { return true; }
    bool isOutputStreamInError() override { return false; }
    bool isOutputStreamAtEnd() override { return false; }

    std::string m_text;
  };

  int m_peer;
  int m_code = Ok;
  std::atomic<bool> m_enabled = true;
  std::atomic<Service*> m_currentService = nullptr;
  TextStream m_text;
  ListingStream m_stream;
  std::mutex m_outputMutex;
  std::atomic<std::thread::id> m_outputOwner;  // who holds it, so that wrong use is told
  std::function<void()> m_afterReply;
  std::map<std::string, std::function<void()>> m_atClose;
};

}  // namespace framework
