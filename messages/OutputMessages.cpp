#include "messages/OutputMessages.h"

#include <cstring>

void MxPartNumOutput::setPartNumber(char* field, const char* text, unsigned int length) {
    const std::size_t available = text == nullptr ? 0 : strnlen(text, length);
    wiretext::setSwapped(field, length, {text, available});
}

void MxPartNumOutput::setPartNumber(char* field, const std::string& text, unsigned int length) {
    wiretext::setSwapped(field, length, text);
}
