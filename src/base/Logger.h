#ifndef TARNWICK_BASE_LOGGER_H
#define TARNWICK_BASE_LOGGER_H

// Bare text on standard output, filtered by a bit mask of severities.
class Logger {
public:
    enum Severity_t : unsigned int { LOG_INFO = 1, LOG_WARNING = 2, LOG_ERROR = 4, LOG_DEBUG = 8 };

    static Logger& getInstance();
    virtual ~Logger() = default;

    // Shows the severities in level from now on; always true.
    bool init(unsigned int level);
    void setLogLevel(unsigned int level) { logLevel = level; }
    void setLogSink(unsigned int sink) { logSink = sink; }
    // The tag names the caller and is not printed; the format carries its own line end.
    void log(Severity_t severity, const char* tag, const char* format, ...) __attribute__((format(printf, 4, 5)));

private:
    Logger() = default;
    unsigned int logLevel = 0;
    unsigned int logSink = 0;
};

#endif
