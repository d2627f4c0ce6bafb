#pragma once

#include "common/Result.h"

#include <QString>

#include <vector>

namespace platform::speech {

// The mixture weights of a tied-mixture acoustic model: for every senone and feature stream,
// how much each Gaussian of the stream's codebook counts.
struct MixtureWeights {
    int senones = 0;
    int streams = 0;
    int codewords = 0;
    std::vector<float> weights; // [senone][stream][codeword], each distribution summing to 1

    float at(int senone, int stream, int codeword) const {
        return weights[(size_t(senone) * size_t(streams) + size_t(stream)) * size_t(codewords) +
                       size_t(codeword)];
    }
};

// Reads the decoder's compact copy of the weights ("sendump"), the only one Debian's models
// carry: one byte per codeword and senone, the weight's negative logarithm in steps of
// 1024 * ln(1.0001). Only the unclustered 8-bit layout is understood.
Result<MixtureWeights> readSendump(const QString& path);

// Writes the weights in the trainer's binary parameter format ("mixture_weights"), which the
// adaptation tools read.
Result<bool> writeMixtureWeights(const MixtureWeights& mixture, const QString& path);

} // namespace platform::speech
