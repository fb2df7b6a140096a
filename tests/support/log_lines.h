// log_lines.h - what a call logs.
#ifndef TESTS_SUPPORT_LOG_LINES_H
#define TESTS_SUPPORT_LOG_LINES_H

#include "runtime/upnp_log.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>

// The lines that call logs with all sources on, without the times in front of
// each "[". What goes on in a further line stays as it is.
template <typename Call> std::string log_lines(Call call)
{
    static constexpr size_t time_bytes = sizeof("12:07:09:042 ");
    std::string             text, line;

    testing::internal::CaptureStdout();
    upnp_log_set_sources(~0u);
    call();
    upnp_log_set_sources(0);
    std::istringstream lines(testing::internal::GetCapturedStdout());
    while (std::getline(lines, line))
        text +=
            line.substr(line.find('[') == time_bytes ? time_bytes : 0) + "\n";
    return text;
}

#endif
