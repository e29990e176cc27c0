#include "rtos/KernelInfoNode.h"

#include <cstdio>
#include <iomanip>
#include <sstream>
#include <utility>

namespace {

constexpr int kListLabelWidth = 20;
constexpr int kUnknownColumnWidth = 20;
constexpr int kColumnGap = 5;

int cellWidth(const std::string& cellLabel, const std::vector<TableColumn>& columns) {
    for (const TableColumn& column : columns) {
        if (column.name == cellLabel) {
            return static_cast<int>(column.width) + kColumnGap;
        }
    }
    return kUnknownColumnWidth;
}

// A JSON string of text: kernel object names are whatever bytes the target holds, and a quote, a backslash
// or a control character in one must not end the string or break the document.
std::string jsonString(const std::string& text) {
    std::string quoted = "\"";
    for (char character : text) {
        auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            quoted += '\\';
            quoted += character;
        } else if (byte < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof(escaped), "\\u%04x", byte);
            quoted += escaped;
        } else {
            quoted += character;
        }
    }
    return quoted + "\"";
}

// setw below fills every field to its width, the last one too, and never cuts a longer text.
void writeList(const KernelInfoNode& section, std::ostringstream& out) {
    for (const KernelInfoNode& item : section.getChildNodes()) {
        out << std::setw(kListLabelWidth) << item.getLabel() << " : " << item.getValue() << "\n";
    }
}

void writeTable(const KernelInfoNode& section, std::ostringstream& out) {
    std::vector<TableColumn> columns;
    if (!KernelInfoNode::getTableColumns(section, columns)) {
        return;
    }
    for (const TableColumn& column : columns) {
        out << std::setw(static_cast<int>(column.width) + kColumnGap) << column.name;
    }
    out << "\n";
    // Cells go in row order, not column order: a row that lacks a cell shifts the rest to the left.
    for (const KernelInfoNode& row : section.getChildNodes()) {
        for (const KernelInfoNode& cell : row.getChildNodes()) {
            out << std::setw(cellWidth(cell.getLabel(), columns));
            if (cell.getChildNodes().empty()) {
                out << cell.getValue();
            } else {
                out << "...";
            }
        }
        out << "\n";
    }
}

} // namespace

KernelInfoNode::KernelInfoNode(unsigned int newId, std::string newValue, std::string newLabel)
    : id(newId), value(std::move(newValue)), label(std::move(newLabel)) {}

void KernelInfoNode::addChild(KernelInfoNode child) {
    childNodes.push_back(std::move(child));
}

bool KernelInfoNode::getChildNode(unsigned int wantedId, KernelInfoNode& result) const {
    for (const KernelInfoNode& child : childNodes) {
        if (child.id == wantedId) {
            result = child;
            return true;
        }
    }
    return false;
}

bool KernelInfoNode::getNodes(unsigned int /*wantedId*/, std::vector<KernelInfoNode>& /*nodes*/) const {
    return false;
}

std::string KernelInfoNode::toString(const KernelInfoNode& node, KernelInfoFormating format) {
    switch (format) {
    case FORMAT_TABULAR:
        return toStringTabular(node);
    case FORMAT_TREE:
        return toStringTree(node, 0);
    case FORMAT_JSON:
        return toStringJson(node, true);
    }
    return "";
}

std::string KernelInfoNode::toStringTabular(const KernelInfoNode& node) {
    std::ostringstream out;
    out << std::left;
    for (const KernelInfoNode& section : node.childNodes) {
        unsigned int depth = getDepth(section, 0);
        if (depth == 0) {
            out << section.label << " : " << section.value << "\n";
        } else {
            out << section.label << "\n";
            // Only one leaf child gives 1. Two leaf children give 2 and go to the table, which refuses
            // them, so such a section shows its label alone.
            if (depth == 1) {
                writeList(section, out);
            } else {
                writeTable(section, out);
            }
        }
        out << "\n";
    }
    return out.str();
}

std::string KernelInfoNode::toStringTree(const KernelInfoNode& node, unsigned int depth) {
    std::string text = std::string(depth, ' ') + node.label + ":" + node.value + "\n";
    for (const KernelInfoNode& child : node.childNodes) {
        text += toStringTree(child, depth + 1);
    }
    return text;
}

std::string KernelInfoNode::toStringJson(const KernelInfoNode& node, bool last) {
    std::string text = "{\"label\":" + jsonString(node.label) + ",";
    if (node.childNodes.empty()) {
        text += "\"value\":" + jsonString(node.value);
    } else {
        text += "\"value\":[";
        for (std::size_t i = 0; i < node.childNodes.size(); ++i) {
            text += toStringJson(node.childNodes[i], i + 1 == node.childNodes.size());
        }
        text += "]";
    }
    text += "}";
    if (!last) {
        text += ",";
    }
    return text;
}

unsigned int KernelInfoNode::getDepth(const KernelInfoNode& node, unsigned int depth) {
    // The running value is both handed down and raised once per child, so it counts children along
    // the way rather than levels. The tabular form's choice of list or table depends on this number.
    unsigned int running = depth;
    for (const KernelInfoNode& child : node.childNodes) {
        unsigned int below = getDepth(child, running);
        ++running;
        if (below > running) {
            running = below;
        }
    }
    return running;
}

bool KernelInfoNode::getTableColumns(const KernelInfoNode& node, std::vector<TableColumn>& columns) {
    const std::vector<KernelInfoNode>& rows = node.childNodes;
    if (rows.empty() || rows.front().childNodes.empty()) {
        return false;
    }
    for (const KernelInfoNode& cell : rows.front().childNodes) {
        TableColumn column;
        column.name = cell.label;
        column.width = getMaxValueLength(cell.label, rows);
        if (cell.label.size() > column.width) {
            column.width = static_cast<uint32_t>(cell.label.size());
        }
        columns.push_back(column);
    }
    return true;
}

uint32_t KernelInfoNode::getMaxValueLength(const std::string& cellLabel,
                                           const std::vector<KernelInfoNode>& rows) {
    std::size_t longest = 0;
    for (const KernelInfoNode& row : rows) {
        for (const KernelInfoNode& cell : row.childNodes) {
            if (cell.label == cellLabel && cell.value.size() > longest) {
                longest = cell.value.size();
            }
        }
    }
    return static_cast<uint32_t>(longest);
}
