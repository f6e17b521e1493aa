#pragma once
// Logging with a category per area and four levels, printf-style like the system log.
// Messages go to every installed sink; by default that is the systemd journal when one is
// running, else stderr. Tests install a MemoryLogSink and read what was written.
#include <cstdarg>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace brellow {

enum class LogLevel { debug, info, notice, error };  // journal priorities 7, 6, 5, 3

int journalPriority(LogLevel level);
const char* logLevelName(LogLevel level);

struct LogRecord {
    LogLevel level;
    std::string category;
    std::string message;
};

class LogSink {
  public:
    virtual ~LogSink() = default;
    virtual void write(const LogRecord& record) = 0;
};

/// Writes to the systemd journal with PRIORITY, SYSLOG_IDENTIFIER and the category as a field.
class JournalLogSink final : public LogSink {
  public:
    static bool journalAvailable();
    void write(const LogRecord& record) override;
};

class StderrLogSink final : public LogSink {
  public:
    void write(const LogRecord& record) override;
};

/// Keeps every record in memory; thread-safe.
class MemoryLogSink final : public LogSink {
  public:
    void write(const LogRecord& record) override;
    std::vector<LogRecord> records() const;
    bool contains(LogLevel level, std::string_view category, std::string_view message) const;
    std::size_t count(std::string_view message) const;
    void clear();

  private:
    mutable std::mutex mutex_;
    std::vector<LogRecord> records_;
};

/// Process-wide sink list. Call `installDefaultSinks` once at start, or set sinks explicitly.
namespace logging {
void installDefaultSinks();
void setSinks(std::vector<std::shared_ptr<LogSink>> sinks);
void addSink(std::shared_ptr<LogSink> sink);
void removeSink(const std::shared_ptr<LogSink>& sink);
}  // namespace logging

/// One logger per area ("ShowDocument", "AudioEngine", ...).
class Logger {
  public:
    explicit Logger(std::string category) : category_(std::move(category)) {}

    [[gnu::format(printf, 2, 3)]] void debug(const char* format, ...) const;
    [[gnu::format(printf, 2, 3)]] void info(const char* format, ...) const;
    [[gnu::format(printf, 2, 3)]] void notice(const char* format, ...) const;
    [[gnu::format(printf, 2, 3)]] void error(const char* format, ...) const;

    const std::string& category() const { return category_; }

  private:
    [[gnu::format(printf, 3, 0)]] void emit(LogLevel level, const char* format, va_list args) const;
    std::string category_;
};

}  // namespace brellow
