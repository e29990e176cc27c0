#include "debuginfo/SymbolTable.h"

#include "base/Logger.h"
#include "base/ProxyUtils.h"
#include "debuginfo/DebugInfoCache.h"
#include "debuginfo/DumpParser.h"

#include <fstream>

namespace {

// Copies the entry of that name into out; out is left alone when there is none.
template <typename Value>
bool copyEntry(const std::map<std::string, Value>& entries, const std::string& name, Value& out) {
    auto entry = entries.find(name);
    if (entry == entries.end()) {
        return false;
    }
    out = entry->second;
    return true;
}

} // namespace

SymbolTable& SymbolTable::getInstance() {
    static SymbolTable instance;
    return instance;
}

bool SymbolTable::init() {
    return DebugInfoCache::prepare();
}

bool SymbolTable::isInitiated() {
    return !symbols.empty();
}

bool SymbolTable::validDebugInfo() {
    return DebugInfoCache::isFresh();
}

bool SymbolTable::generateDebugInfo() {
    return DebugInfoCache::generate();
}

void SymbolTable::addSymbol(const Symbol& symbol) {
    symbols.insert({symbol.getName(), symbol});
}

bool SymbolTable::lookupSymbol(const std::string& name, Symbol& out) {
    return copyEntry(symbols, name, out);
}

bool SymbolTable::lookupStruct(const std::string& name, StructInfo& out) {
    return copyEntry(structs, name, out);
}

bool SymbolTable::resolveDataStructures(const std::vector<std::string>& names) {
    structs.clear();
    DumpParser parser(names, structs);
    unsigned int start = ProxyUtils::getTimeStamp();
    bool complete = names.empty();
    std::ifstream cache;
    if (DebugInfoCache::openForReading(cache)) {
        complete = parser.parse(cache);
    }
    Logger::getInstance().log(Logger::LOG_DEBUG, "resolveDataStructures",
                              "SymbolTable::resolveDataStructures(), %d ms\n",
                              static_cast<int>(ProxyUtils::getTimeStamp() - start));
    return complete;
}

bool SymbolTable::resolveDataStructure(const std::string& name, unsigned int address, StructInfo& out) {
    if (!getInstance().lookupStruct(name, out)) {
        return false;
    }
    out.bindTo(address);
    return true;
}

void SymbolTable::clear() {
    symbols.clear();
    structs.clear();
}
