#include "rsp/RspUtil.h"

#include <cstring>
#include <iostream>
#include <stdexcept>

bool RspUtil::toUINT32(const std::string& text, unsigned int base, unsigned int& value) {
    std::size_t used = 0;
    unsigned long converted = 0;
    try {
        converted = std::stoul(text, &used, static_cast<int>(base));
    } catch (const std::exception&) {
        std::cout << "RspUtil::toUINT32(), failure: " << text << std::endl;
        return false;
    }
    value = static_cast<unsigned int>(converted);
    return used == text.size();
}

unsigned int RspUtil::toUINT32(unsigned char* data) {
    unsigned int value = 0;
    std::memcpy(&value, data, sizeof(value));
    return value;
}

unsigned short RspUtil::toUINT16(unsigned char* data) {
    unsigned short value = 0;
    std::memcpy(&value, data, sizeof(value));
    return value;
}

unsigned char RspUtil::toUINT8(unsigned char* data) {
    return *data;
}
