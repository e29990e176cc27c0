#ifndef TARNWICK_BASE_PROPERTIES_H
#define TARNWICK_BASE_PROPERTIES_H

#include <map>
#include <string>
#include <vector>

// The option store. It holds no defaults: each reader of an option applies its own.
class Properties {
public:
    static Properties& getInstance();
    virtual ~Properties() = default;

    // Loads an options file, one argument a line; false if it cannot be opened.
    bool init(std::string& path);
    // Parses arguments into the store; rewrites args. Always true.
    bool init(std::vector<std::string>& args);
    // Replaces NAME=VALUE aliases by their options. Always true.
    bool initArguments(std::vector<std::string>& args);

    void addProperty(std::string key, std::string value);
    bool getProperty(const std::string& key, std::string& value);
    // True only if set and the whole text is a decimal number.
    bool getProperty(const std::string& key, unsigned int& value);
    // A TCP port: true with port set if the option is a port, true with port untouched if it is not set,
    // false if it is set to anything else.
    bool getPort(const std::string& key, unsigned short& port);
    // True if set; value is whether the text is exactly "true".
    bool getProperty(const std::string& key, bool& value);
    std::vector<std::string>& getServerArgs() { return serverArgs; }

    // A decimal number from 1 to 65535 and nothing else; a port outside that range is none the user meant.
    static bool parsePort(const std::string& text, unsigned short& port);
    // "HOST:PORT", "[IPV6 ADDRESS]:PORT" or ":PORT" (host empty); false for another shape or no port.
    static bool parseHostPort(const std::string& text, std::string& host, unsigned short& port);

    // Empties the store; lets tests start from a clean process state.
    void clear();

private:
    Properties() = default;
    std::map<std::string, std::string> properties;
    std::vector<std::string> serverArgs;
};

#endif
