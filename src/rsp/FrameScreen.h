#ifndef TARNWICK_RSP_FRAMESCREEN_H
#define TARNWICK_RSP_FRAMESCREEN_H

#include <vector>

// The frame starts (start byte included, "$qC") that someone wants to see whole, and for the first bytes of
// a frame still arriving the judgement whether it is one of them. A frame that none of them can start may go
// on as its bytes come.
class FrameScreen {
public:
    enum class Verdict { PASS, UNDECIDED, WHOLE };

    FrameScreen() = default;
    explicit FrameScreen(std::vector<const char*> newPrefixes);
    virtual ~FrameScreen() = default;

    // PASS if no prefix can start a frame that begins with head, WHOLE if one does, UNDECIDED while head is
    // too short to tell.
    Verdict judge(const unsigned char* head, int length) const;
    // The judgement of two screens together: WHOLE over UNDECIDED over PASS.
    static Verdict either(Verdict first, Verdict second);

private:
    std::vector<const char*> prefixes;
};

#endif
