// The memory of one process.
#pragma once

namespace framework {

/// A measurement of a process's memory, taken from /proc/PID/status (proc(5)).
class ProcessMem {
 public:
  /// Sizes in kilobytes.
  class SummaryData {
   public:
    /// Pages of its own that the process has touched: anonymous memory, in core or swapped out.
    unsigned int getAllDataTouchedTotal() const { return m_data; }
    /// The program's and its libraries' code.
    unsigned int getCodeTotal() const { return m_code; }
    /// Pages in core that are backed by files or shared memory.
    unsigned int getSharedTotal() const { return m_shared; }

   private:
    friend class ProcessMem;
    unsigned int m_data = 0;
    unsigned int m_code = 0;
    unsigned int m_shared = 0;
  };

  /// Measures the process. Throws a framework::Exception pointer when there is no such process.
  explicit ProcessMem(int pid);

  const SummaryData& getSummaryData() const { return m_summary; }

 private:
  SummaryData m_summary;
};

}  // namespace framework
