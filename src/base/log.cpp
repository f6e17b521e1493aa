#include "base/log.h"

#include <unistd.h>
#include <algorithm>
#include <cstdio>

#include <systemd/sd-journal.h>

namespace brellow {

namespace {

constexpr const char* kSubsystem = "org.brellow.Brellow";

std::mutex& sinksMutex() {
    static std::mutex mutex;
    return mutex;
}

std::vector<std::shared_ptr<LogSink>>& sinks() {
    static std::vector<std::shared_ptr<LogSink>> list;
    return list;
}

[[gnu::format(printf, 1, 0)]] std::string formatMessage(const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (length <= 0) {
        return {};
    }
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, args);
    text.resize(static_cast<std::size_t>(length));
    return text;
}

}  // namespace

int journalPriority(LogLevel level) {
    switch (level) {
        case LogLevel::debug:
            return 7;
        case LogLevel::info:
            return 6;
        case LogLevel::notice:
            return 5;
        case LogLevel::error:
            return 3;
    }
    return 5;
}

const char* logLevelName(LogLevel level) {
    switch (level) {
        case LogLevel::debug:
            return "debug";
        case LogLevel::info:
            return "info";
        case LogLevel::notice:
            return "default";
        case LogLevel::error:
            return "error";
    }
    return "default";
}

bool JournalLogSink::journalAvailable() {
    return access("/run/systemd/journal/socket", W_OK) == 0;
}

void JournalLogSink::write(const LogRecord& record) {
    sd_journal_send("MESSAGE=%s", record.message.c_str(), "PRIORITY=%d",
                    journalPriority(record.level), "SYSLOG_IDENTIFIER=brellow",
                    "BRELLOW_SUBSYSTEM=%s", kSubsystem, "BRELLOW_CATEGORY=%s",
                    record.category.c_str(), nullptr);
}

void StderrLogSink::write(const LogRecord& record) {
    std::fprintf(stderr, "[%s] %s: %s\n", logLevelName(record.level), record.category.c_str(),
                 record.message.c_str());
}

void MemoryLogSink::write(const LogRecord& record) {
    const std::lock_guard lock(mutex_);
    records_.push_back(record);
}

std::vector<LogRecord> MemoryLogSink::records() const {
    const std::lock_guard lock(mutex_);
    return records_;
}

bool MemoryLogSink::contains(LogLevel level, std::string_view category,
                             std::string_view message) const {
    const std::lock_guard lock(mutex_);
    return std::any_of(records_.begin(), records_.end(), [&](const LogRecord& r) {
        return r.level == level && r.category == category && r.message == message;
    });
}

std::size_t MemoryLogSink::count(std::string_view message) const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(
        std::count_if(records_.begin(), records_.end(),
                      [&](const LogRecord& r) { return r.message == message; }));
}

void MemoryLogSink::clear() {
    const std::lock_guard lock(mutex_);
    records_.clear();
}

namespace logging {

void installDefaultSinks() {
    if (JournalLogSink::journalAvailable()) {
        setSinks({std::make_shared<JournalLogSink>()});
    } else {
        setSinks({std::make_shared<StderrLogSink>()});
    }
}

void setSinks(std::vector<std::shared_ptr<LogSink>> list) {
    const std::lock_guard lock(sinksMutex());
    sinks() = std::move(list);
}

void addSink(std::shared_ptr<LogSink> sink) {
    const std::lock_guard lock(sinksMutex());
    sinks().push_back(std::move(sink));
}

void removeSink(const std::shared_ptr<LogSink>& sink) {
    const std::lock_guard lock(sinksMutex());
    std::erase(sinks(), sink);
}

}  // namespace logging

void Logger::emit(LogLevel level, const char* format, va_list args) const {
    const LogRecord record{level, category_, formatMessage(format, args)};
    const std::lock_guard lock(sinksMutex());
    for (const auto& sink : sinks()) {
        sink->write(record);
    }
}

#define BRELLOW_LOG_METHOD(name, level)                \
    void Logger::name(const char* format, ...) const { \
        va_list args;                                  \
        va_start(args, format);                        \
        emit(level, format, args);                     \
        va_end(args);                                  \
    }

BRELLOW_LOG_METHOD(debug, LogLevel::debug)
BRELLOW_LOG_METHOD(info, LogLevel::info)
BRELLOW_LOG_METHOD(notice, LogLevel::notice)
BRELLOW_LOG_METHOD(error, LogLevel::error)

#undef BRELLOW_LOG_METHOD

}  // namespace brellow
