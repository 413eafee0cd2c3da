// The one-shot raw inflate against zlib driven a little at a time: the first byte picks a capacity
// limit, the rest is the compressed stream. Success means the whole stream, or exactly the first
// `capacity` bytes of it; failure means empty input (-1) or a stream that stops short or gives nothing (-2).
#include "fuzzcheck.h"
#include "index/rawinflate.h"

#include <zlib.h>

#include <algorithm>

namespace {

struct Reference
{
    QByteArray data; // at most `cap` bytes
    bool ended = false;
};

Reference inflateInSteps(QByteArrayView input, qsizetype cap)
{
    Reference out;
    z_stream stream{};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK)
        std::abort();
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(input.data()));
    stream.avail_in = uInt(input.size());
    char chunk[977];
    while (out.data.size() < cap) {
        stream.next_out = reinterpret_cast<Bytef *>(chunk);
        stream.avail_out = uInt(std::min<qsizetype>(sizeof chunk, cap - out.data.size()));
        const int status = inflate(&stream, Z_NO_FLUSH);
        out.data.append(chunk, qsizetype(reinterpret_cast<char *>(stream.next_out) - chunk));
        if (status == Z_STREAM_END) {
            out.ended = true;
            break;
        }
        if (status != Z_OK)
            break;
    }
    inflateEnd(&stream);
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const qsizetype limit = qsizetype(data[0] + 1) * 2048;
    const QByteArrayView input = fuzzInput(data + 1, size - 1);
    const InflateResult result = inflateRaw(input, limit);

    if (input.isEmpty()) {
        FUZZ_CHECK(result.error && result.error->code == -1 && result.data.isEmpty());
        return 0;
    }
    const qsizetype capacity = std::max<qsizetype>(65536, 2 * input.size());
    if (input.size() > limit / 2 || capacity > limit) {
        FUZZ_CHECK(result.error && result.error->code == -2);
        return 0;
    }
    const Reference reference = inflateInSteps(input, capacity);
    const bool expectSuccess =
        !reference.data.isEmpty() && (reference.ended || reference.data.size() == capacity);
    if (expectSuccess) {
        FUZZ_CHECK(!result.error);
        FUZZ_CHECK(result.data == reference.data);
    } else {
        FUZZ_CHECK(result.error && result.error->code == -2 && result.data.isEmpty());
    }
    return 0;
}
