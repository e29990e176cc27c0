#ifndef TARNWICK_DEBUGINFO_SYMBOLTABLE_H
#define TARNWICK_DEBUGINFO_SYMBOLTABLE_H

#include "debuginfo/StructInfo.h"
#include "debuginfo/Symbol.h"

#include <map>
#include <string>
#include <vector>

// What the proxy knows of the target program: kernel symbol addresses from GDB, and structure layouts
// read from the debug-info cache (DebugInfoCache).
class SymbolTable {
public:
    static SymbolTable& getInstance();
    virtual ~SymbolTable() = default;

    // The start-up and the tests name the cache's operations here; the work is DebugInfoCache's.
    bool init();
    bool validDebugInfo();
    bool generateDebugInfo();
    // True when at least one symbol is known.
    bool isInitiated();

    // A name already present keeps its first symbol.
    void addSymbol(const Symbol& symbol);
    // Exact match; out is left alone when the name is unknown.
    bool lookupSymbol(const std::string& name, Symbol& out);

    // Exact match; copies into out, which is left alone when the structure is unknown.
    bool lookupStruct(const std::string& name, StructInfo& out);
    // Rebuilds the layouts from the cache, looking only for these names; true when every one was completed.
    bool resolveDataStructures(const std::vector<std::string>& names);
    // Copies the layout into out with every member's address set for an instance at address.
    static bool resolveDataStructure(const std::string& name, unsigned int address, StructInfo& out);

    // Empties both maps; lets tests start from a clean singleton.
    void clear();

private:
    SymbolTable() = default;
    std::map<std::string, Symbol> symbols;
    std::map<std::string, StructInfo> structs;
};

#endif
