#include "base/Properties.h"
#include "base/NumberCodec.h"

#include "base/StringUtil.h"

#include <cstdio>
#include <fstream>

namespace {

const char* const kBlanksAndTabs = " \t";
const char* const kHostAlias = "PROXY_RSPSERVER_HOST";
const char* const kPortAlias = "PROXY_RSPSERVER_PORT";
const char* const kDigits = "0123456789";
const std::string::size_type kLongestPort = 5;
const unsigned long kHighestPort = 65535;

const std::map<std::string, std::string>& aliases() {
    static const std::map<std::string, std::string> table = {
        {"LOGGER_LOGLEVEL", "--loglevel"},
        {"PROXY_PORT", "--port"},
        {"PROXY_RTOS", "--rtos"},
        {"PROXY_RTOS_PORT", "--rtos_variant"},
        {"PROXY_ELF_OBJECT", "--file"},
        {"PROXY_DEBUG_INFO_TOOL", "--debug_info_tool"},
        {kHostAlias, ""},
        {kPortAlias, ""},
    };
    return table;
}

} // namespace

Properties& Properties::getInstance() {
    static Properties instance;
    return instance;
}

bool Properties::init(std::string& path) {
    std::ifstream file(path);
    if (!file.is_open()) {
        return false;
    }
    std::vector<std::string> args;
    std::string line;
    while (std::getline(file, line)) {
        line = StringUtil::trim(line, kBlanksAndTabs);
        if (line.empty() || line[0] == '#') {
            continue;
        }
        args.push_back(line);
    }
    file.close();
    return init(args);
}

bool Properties::initArguments(std::vector<std::string>& args) {
    std::vector<std::string> rewritten;
    std::string connection;
    for (std::string& element : args) {
        element = StringUtil::trim(element, kBlanksAndTabs);
        std::vector<std::string> pieces = StringUtil::split(element, '=');
        if (pieces.size() != 2) {
            rewritten.push_back(element);
            continue;
        }
        std::string name = StringUtil::trim(pieces[0], " ");
        std::string value = StringUtil::trim(pieces[1], " ");
        if (name == kPortAlias) {
            connection = connection + ":" + value;
        } else if (name == kHostAlias) {
            connection = value + connection;
        } else {
            auto alias = aliases().find(name);
            if (alias != aliases().end()) {
                rewritten.push_back(alias->second);
                rewritten.push_back(value);
            }
        }
    }
    if (!connection.empty()) {
        rewritten.push_back("--server_connection");
        rewritten.push_back(connection);
    }
    args = rewritten;
    return true;
}

bool Properties::init(std::vector<std::string>& args) {
    initArguments(args);
    bool collecting = false;
    for (const std::string& element : args) {
        if (element == "--") {
            collecting = true;
        }
    }
    std::string pending;
    for (const std::string& element : args) {
        std::string token = StringUtil::trim(element, kBlanksAndTabs);
        if (collecting) {
            if (token == "--") {
                collecting = false;
            } else {
                serverArgs.push_back(token);
            }
            continue;
        }
        if (StringUtil::startsWith(token, "-") && pending != "--server_args") {
            if (!pending.empty()) {
                addProperty(pending, "");
            }
            pending = token;
        } else if (!pending.empty()) {
            addProperty(pending, token);
            pending.clear();
        }
    }
    std::string serverArgsText;
    if (getProperty("--server_args", serverArgsText)) {
        for (const std::string& piece : StringUtil::split(serverArgsText, ' ')) {
            serverArgs.push_back(piece);
        }
    }
    return true;
}

void Properties::addProperty(std::string key, std::string value) {
    properties[key] = value;
}

bool Properties::getProperty(const std::string& key, std::string& value) {
    auto entry = properties.find(key);
    if (entry == properties.end()) {
        return false;
    }
    value = entry->second;
    return true;
}

bool Properties::getProperty(const std::string& key, unsigned int& value) {
    std::string text;
    if (!getProperty(key, text)) {
        return false;
    }
    return NumberCodec::toUINT32(text, 10, value);
}

bool Properties::getPort(const std::string& key, unsigned short& port) {
    std::string text;
    return !getProperty(key, text) || parsePort(text, port);
}

bool Properties::parsePort(const std::string& text, unsigned short& port) {
    if (text.empty() || text.size() > kLongestPort || text.find_first_not_of(kDigits) != std::string::npos) {
        return false;
    }
    unsigned long value = std::stoul(text);
    if (value < 1 || value > kHighestPort) {
        return false;
    }
    port = static_cast<unsigned short>(value);
    return true;
}

bool Properties::parseHostPort(const std::string& text, std::string& host, unsigned short& port) {
    std::string::size_type colon = text.rfind(':');
    if (colon == std::string::npos) {
        return false;
    }
    std::string name = text.substr(0, colon);
    // An IPv6 address has colons of its own: only in brackets is its end told from the port's start.
    if (name.size() >= 2 && name.front() == '[' && name.back() == ']') {
        name = name.substr(1, name.size() - 2);
    } else if (name.find_first_of(":[]") != std::string::npos) {
        return false;
    }
    if (!parsePort(text.substr(colon + 1), port)) {
        return false;
    }
    host = name;
    return true;
}

bool Properties::getProperty(const std::string& key, bool& value) {
    std::string text;
    if (!getProperty(key, text)) {
        return false;
    }
    value = text == "true";
    return true;
}

void Properties::clear() {
    properties.clear();
    serverArgs.clear();
}
