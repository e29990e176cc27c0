#include "rtos/PortTable.h"

#include <algorithm>
#include <utility>

namespace {

template <typename Predicate> const PortRow* firstRow(const std::vector<PortRow>& rows, Predicate predicate) {
    auto found = std::find_if(rows.begin(), rows.end(), predicate);
    return found != rows.end() ? &*found : nullptr;
}

} // namespace

PortTable::PortTable(std::vector<PortRow> newRows) : rows(std::move(newRows)) {}

const PortRow* PortTable::named(const std::string& name) const {
    return firstRow(rows, [&name](const PortRow& row) { return name == row.name; });
}

const PortFrames* PortTable::framesOf(const std::string& name) const {
    const PortRow* row = named(name);
    return row != nullptr ? &row->frames : nullptr;
}

const PortRow* PortTable::inFolder(const std::string& folder, const std::string& subFolder) const {
    return firstRow(rows, [&](const PortRow& row) {
        return row.folder.folder != nullptr && folder == row.folder.folder &&
               subFolder == row.folder.subFolder;
    });
}

const PortRow* PortTable::ofEvidence(const PortRow::Evidence& evidence) const {
    return firstRow(rows, [&evidence](const PortRow& row) {
        return row.sameFramesAs == nullptr &&
               std::any_of(row.architectures.begin(), row.architectures.end(),
                           [&evidence](const PortRow::Architecture& entry) { return entry.holds(evidence); });
    });
}

const PortRow* PortTable::ofCorePart(unsigned int partNumber) const {
    return firstRow(rows, [partNumber](const PortRow& row) {
        return std::find(row.coreParts.begin(), row.coreParts.end(), partNumber) != row.coreParts.end();
    });
}
