#ifndef TARNWICK_RTOS_PORTTABLE_H
#define TARNWICK_RTOS_PORTTABLE_H

#include "rtos/PortRow.h"

#include <string>
#include <vector>

// The ports of a kernel, one row each, and the ways to find one: by the "--rtos_variant" name, by the folder
// of its sources, by what the program file tells, by the core. Where several rows could answer, the first
// in the table does.
class PortTable {
public:
    explicit PortTable(std::vector<PortRow> newRows);
    virtual ~PortTable() = default;

    const std::vector<PortRow>& getRows() const { return rows; }
    // Compared exactly, case included; null for an unknown name.
    const PortRow* named(const std::string& name) const;
    // The frames of the row of a name; null for an unknown name.
    const PortFrames* framesOf(const std::string& name) const;
    // subFolder is empty for a port without one; null when no row keeps its sources there.
    const PortRow* inFolder(const std::string& folder, const std::string& subFolder) const;
    // The first row, among those the evidence can name, one of whose architectures holds; null for none.
    const PortRow* ofEvidence(const PortRow::Evidence& evidence) const;
    // The row of the part number in the core's CPUID register; null for a core no row names.
    const PortRow* ofCorePart(unsigned int partNumber) const;

private:
    std::vector<PortRow> rows;
};

#endif
