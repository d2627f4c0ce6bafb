// Any local program of this user can write to the instance socket: any bytes must give a
// request or none, and an encoded request must come back as it was sent.
#include "main/InstanceChannel.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto request = InstanceChannel::decode(bytes);
    if (!request) return 0;
    const auto again = InstanceChannel::decode(InstanceChannel::encode(*request));
    if (!again || again->kind != request->kind || again->workingDirectory != request->workingDirectory)
        std::abort();
    // Arguments that were empty travel as a blank; every other one unchanged.
    if (again->arguments.size() != request->arguments.size()) std::abort();
    return 0;
}
