#include "protocollog.h"

#include "replyview.h"

#include <cstdarg>
#include <cstdio>

namespace protocollog {

void print(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
}

void printLine(const char *text)
{
    std::puts(text);
}

void printBytes(const char *prefix, const ReplyView &reply, int first)
{
    printBytes(prefix, reply, first, reply.size());
}

void printBytes(const char *prefix, const ReplyView &reply, int first, int end)
{
    for (int i = first; i < end; ++i)
        std::printf("%srx_buf[%d] = 0x%x\n", prefix, i, reply[i]);
}

} // namespace protocollog
