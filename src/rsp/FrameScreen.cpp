#include "rsp/FrameScreen.h"

#include <utility>

FrameScreen::FrameScreen(std::vector<const char*> newPrefixes) : prefixes(std::move(newPrefixes)) {}

FrameScreen::Verdict FrameScreen::judge(const unsigned char* head, int length) const {
    Verdict verdict = Verdict::PASS;
    for (const char* prefix : prefixes) {
        int i = 0;
        while (prefix[i] != '\0' && i < length && head[i] == static_cast<unsigned char>(prefix[i])) {
            ++i;
        }
        if (prefix[i] == '\0') {
            return Verdict::WHOLE;
        }
        if (i == length) {
            verdict = Verdict::UNDECIDED;
        }
    }
    return verdict;
}

FrameScreen::Verdict FrameScreen::either(Verdict first, Verdict second) {
    return first > second ? first : second;
}
