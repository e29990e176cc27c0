#ifndef TARNWICK_RSP_FRAMEPASSAGE_H
#define TARNWICK_RSP_FRAMEPASSAGE_H

// Where a frame that goes on as it arrives ends: the first '#' and the two checksum digits behind it, which
// may come in later reads than the bytes before them.
class FramePassage {
public:
    FramePassage() = default;
    virtual ~FramePassage() = default;

    // How many of the size bytes at data, which continue the frame (its start byte first), still belong to
    // it; the rest belong to whatever follows.
    int take(const unsigned char* data, int size);
    // Whether the frame's end is still to come.
    bool isOpen() const { return digitsOwed != 0; }

private:
    // Bytes still owed up to the end, counting '#' as two digits more; -1 until '#' has come.
    int digitsOwed = -1;
};

#endif
