#include "target/ThreadList.h"

#include "base/StringUtil.h"

#include <sstream>

bool ThreadList::getThread(unsigned int id, TargetThread& out) const {
    auto found = threads.find(id);
    if (found == threads.end()) {
        return false;
    }
    out = found->second;
    return true;
}

bool ThreadList::getActiveThread(TargetThread& out) const {
    // Every thread passes through out, so a miss leaves the last one there; callers see that.
    for (const auto& entry : threads) {
        out = entry.second;
        if (out.getCpuActive()) {
            return true;
        }
    }
    return false;
}

bool ThreadList::addThread(const TargetThread& thread) {
    return threads.emplace(thread.getThreadId(), thread).second;
}

std::string ThreadList::getXMLEntry(const TargetThread& thread) const {
    std::ostringstream entry;
    entry << "<thread id=\"" << std::hex << thread.getThreadId() << "\" name=\""
          << StringUtil::escapeXml(thread.getName()) << "\">";
    if (thread.getCpuActive()) {
        entry << "RUNNING";
    }
    entry << "</thread>";
    return entry.str();
}

std::string ThreadList::getXML() const {
    std::string xml = "<?xml version=\"1.0\"?><threads>";
    TargetThread active;
    if (getActiveThread(active)) {
        xml += getXMLEntry(active);
    }
    for (const auto& entry : threads) {
        if (!entry.second.getCpuActive()) {
            xml += getXMLEntry(entry.second);
        }
    }
    xml += "</threads>";
    return xml;
}

std::vector<unsigned int> ThreadList::getThreadIdentifiers() const {
    std::vector<unsigned int> ids;
    ids.reserve(threads.size());
    for (const auto& entry : threads) {
        ids.push_back(entry.first);
    }
    return ids;
}
