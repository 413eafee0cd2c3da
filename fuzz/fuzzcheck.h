// What every fuzz target shares: an input as a Qt view, and a failed check that stops the run with the
// reason, so libFuzzer keeps the input as a finding. Fuzzing builds only; one thread.
#pragma once

#include "index/packagejson.h"

#include <QByteArrayView>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

inline QByteArrayView fuzzInput(const uint8_t *data, size_t size)
{
    return QByteArrayView(reinterpret_cast<const char *>(data), qsizetype(size));
}

// Records as the command line prints them: two lists compare equal exactly when every field does.
inline QString packageJsonLines(const PackageList &records)
{
    QString out;
    for (const PackageInfo &record : records)
        appendPackageJsonLine(out, record);
    return out;
}

#define FUZZ_CHECK(condition)                                                                                \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            std::fprintf(stderr, "check failed: %s (%s:%d)\n", #condition, __FILE__, __LINE__);              \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)
