#include "rtos/threadx/ThreadxObjectView.h"

#include "base/StringUtil.h"

#include <string>

namespace {

const char* const kNameSeparator = ", ";

} // namespace

std::string ThreadxObjectView::valueText(const ThreadxObject::Value& value) {
    switch (value.field->kind) {
    case ThreadxObjectKinds::NAME:
    case ThreadxObjectKinds::OWNER_NAME:
        return value.name.value_or("");
    case ThreadxObjectKinds::SUSPENDED_THREADS: {
        std::vector<std::string> names = value.suspended.value_or(std::vector<std::string>());
        return value.suspended ? StringUtil::to_string(names, kNameSeparator) : "";
    }
    case ThreadxObjectKinds::DECIMAL:
    case ThreadxObjectKinds::TICKS_LEFT:
        return value.word ? StringUtil::to_string(*value.word, 10, 0) : "";
    case ThreadxObjectKinds::HEX8:
        return value.word ? StringUtil::to_string(*value.word, 16, 8) : "";
    case ThreadxObjectKinds::HEX:
        return value.word ? StringUtil::to_string(*value.word, 16, 0) : "";
    }
    return std::string();
}

KernelInfoNode ThreadxObjectView::objectNode(const ThreadxObject& object) {
    KernelInfoNode node(0, "", ThreadxObjectKinds::of(object.kind).objectLabel);
    for (const ThreadxObject::Value& value : object.values) {
        node.addChild(KernelInfoNode(0, valueText(value), value.field->label));
    }
    return node;
}

void ThreadxObjectView::addObjects(const std::vector<ThreadxObject>& objects, KernelInfoNode& out) {
    for (const ThreadxObject& object : objects) {
        out.addChild(objectNode(object));
    }
}
