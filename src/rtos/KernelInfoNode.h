#ifndef TARNWICK_RTOS_KERNELINFONODE_H
#define TARNWICK_RTOS_KERNELINFONODE_H

#include "rtos/KernelInfoFormating.h"
#include "rtos/TableColumn.h"

#include <string>
#include <vector>

// A tree of labelled, already formatted values: how drivers hand kernel objects to the rest of the
// system. Intended shape: root, one child per section, in a section either nothing or rows of cells.
class KernelInfoNode {
public:
    KernelInfoNode() = default;
    // Value before label.
    KernelInfoNode(unsigned int newId, std::string newValue, std::string newLabel);

    unsigned int getId() const { return id; }
    std::string& getValue() { return value; }
    const std::string& getValue() const { return value; }
    std::string& getLabel() { return label; }
    const std::string& getLabel() const { return label; }
    std::vector<KernelInfoNode>& getChildNodes() { return childNodes; }
    const std::vector<KernelInfoNode>& getChildNodes() const { return childNodes; }

    void setLabel(const std::string& newLabel) { label = newLabel; }
    void addChild(KernelInfoNode child);
    // Copies the first direct child with that id into result; false if there is none.
    bool getChildNode(unsigned int wantedId, KernelInfoNode& result) const;
    // Not supported: always false, nodes untouched.
    bool getNodes(unsigned int wantedId, std::vector<KernelInfoNode>& nodes) const;

    // Empty for a format outside the enumeration.
    static std::string toString(const KernelInfoNode& node, KernelInfoFormating format);
    static std::string toStringTabular(const KernelInfoNode& node);
    static std::string toStringTree(const KernelInfoNode& node, unsigned int depth);
    // One line, no escaping; a node that is not the last of its siblings gets a trailing ','.
    static std::string toStringJson(const KernelInfoNode& node, bool last);

    // Not a depth: every child adds 1 to the running value (see the .cpp). The tabular form relies on it.
    static unsigned int getDepth(const KernelInfoNode& node, unsigned int depth);
    // Appends one column per cell of the first row of node; false if node has no rows or that row no cells.
    static bool getTableColumns(const KernelInfoNode& node, std::vector<TableColumn>& columns);
    // Longest value among the cells of rows labelled label; 0 if there is none.
    static uint32_t getMaxValueLength(const std::string& cellLabel, const std::vector<KernelInfoNode>& rows);

private:
    unsigned int id = 0;
    std::string value;
    std::string label;
    std::vector<KernelInfoNode> childNodes;
};

#endif
