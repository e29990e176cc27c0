#include "target/TargetDescriptionIncludes.h"

namespace {

const std::string kIncludeTag = "<xi:include";
const std::string kHref = "href=";

} // namespace

std::vector<std::string> TargetDescriptionIncludes::find(const std::string& xml) {
    std::vector<std::string> annexes;
    std::string::size_type position = xml.find(kIncludeTag);
    while (position != std::string::npos) {
        std::string::size_type tagEnd = xml.find('>', position);
        std::string::size_type href = xml.find(kHref, position);
        if (tagEnd == std::string::npos || href == std::string::npos || href > tagEnd) {
            break;
        }
        std::string::size_type open = href + kHref.size();
        const char quote = xml[open];
        std::string::size_type close = xml.find(quote, open + 1);
        if ((quote == '"' || quote == '\'') && close != std::string::npos && close < tagEnd) {
            annexes.push_back(xml.substr(open + 1, close - open - 1));
        }
        position = xml.find(kIncludeTag, tagEnd);
    }
    return annexes;
}
