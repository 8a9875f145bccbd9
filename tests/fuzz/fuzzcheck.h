#pragma once

#include <QString>

#include <cstdio>
#include <cstdlib>

// A property of the code under test. A violation ends the run like a crash does, so libFuzzer
// keeps the input that found it (and the replay of the kept inputs fails on it).
inline void fuzzCheck(bool holds, const char *property, const QString &detail = {})
{
    if (holds)
        return;
    std::fprintf(stderr, "property violated: %s %s\n", property, qPrintable(detail));
    std::abort();
}
