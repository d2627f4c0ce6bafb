#include "capture/ScrollerRemoval.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace ScrollerRemoval {

namespace {

constexpr int differingLevels = 11;
// A position belongs to the bar when it disagrees along this share of the overlap.
constexpr double barShare = 0.03;

double lineMean(const Band& band, int line) {
    const uint8_t* p = band.data.data() + size_t(line) * size_t(band.width);
    return std::accumulate(p, p + band.width, 0.0) / std::max(1, band.width);
}

// +1 when the knob is darker than its track, -1 when lighter. Found from how far the
// frames' lines stray from their median either way; where that says nothing (two frames
// stray equally), a dark band has a darker knob and a light one a lighter knob.
int knobSign(const QList<Band>& bands) {
    double below = 0, above = 0, total = 0;
    int count = 0;
    const int length = bands.first().length;
    std::vector<double> means(size_t(bands.size()));
    for (int line = 0; line < length; ++line) {
        for (int f = 0; f < bands.size(); ++f)
            means[size_t(f)] = lineMean(bands[f], line);
        std::vector<double> sorted = means;
        std::sort(sorted.begin(), sorted.end());
        const double median = sorted[sorted.size() / 2];
        below += median - sorted.front();
        above += sorted.back() - median;
        for (double m : means) {
            total += m;
            ++count;
        }
    }
    if (std::abs(below - above) > 0.2 * std::max(below, above) && std::max(below, above) > 0)
        return below > above ? +1 : -1;
    return total / std::max(1, count) < 128 ? +1 : -1;
}

} // namespace

std::optional<Bar> findBar(const ScrollSamples& previous, const ScrollSamples& current, int offset, int lead,
                           int trail, int edgeZone) {
    const int width = current.width();
    const int overlap = current.length() - lead - trail - offset;
    if (overlap <= 0 || width <= 2) return std::nullopt;
    std::vector<int> disagreeing(size_t(width), 0);
    for (int k = 0; k < overlap; ++k) {
        const uint8_t* a = current.line(lead + k);
        const uint8_t* b = previous.line(lead + offset + k);
        for (int x = 0; x < width; ++x)
            if (std::abs(int(a[x]) - int(b[x])) >= differingLevels) ++disagreeing[size_t(x)];
    }
    // A bar is drawn the same all along the axis but for its knob: few transitions in either
    // frame, unlike content. Of such runs of positions that disagree, the widest narrow one.
    const auto isBar = [&](int x) {
        return disagreeing[size_t(x)] > overlap * barShare &&
               previous.transitions(x) <= structuralTransitions &&
               current.transitions(x) <= structuralTransitions;
    };
    std::optional<Bar> found;
    for (int x = 0; x < width;) {
        if (!isBar(x)) {
            ++x;
            continue;
        }
        int end = x;
        while (end < width && isBar(end))
            ++end;
        if (end - x <= edgeZone && (!found || end - x > found->to - found->from)) found = Bar{x, end};
        x = end;
    }
    return found;
}

Band bandOf(const ScrollSamples& frame, const Bar& bar) {
    Band band;
    band.length = frame.length();
    band.width = bar.to - bar.from;
    band.data.resize(size_t(band.length) * size_t(band.width));
    for (int line = 0; line < band.length; ++line)
        std::copy_n(frame.line(line) + bar.from, band.width, band.data.begin() + line * band.width);
    return band;
}

QList<Patch> patches(const QList<Band>& bands, const QList<Piece>& pieces) {
    QList<Patch> result;
    if (bands.size() < 2) return result;
    // The clean frame of each line. The knob moves on at every step, so at a given line most
    // frames show the bare track: the frame nearest the median there. With two frames there
    // is no majority: the knob's brightness against its track picks the other one.
    const int length = bands.first().length;
    const int sign = bands.size() < 3 ? knobSign(bands) : 0;
    std::vector<int> clean(size_t(length), 0);
    std::vector<double> means(size_t(bands.size()));
    for (int line = 0; line < length; ++line) {
        for (int f = 0; f < bands.size(); ++f)
            means[size_t(f)] = lineMean(bands[f], line);
        int chosen = 0;
        if (sign != 0) {
            for (int f = 1; f < bands.size(); ++f)
                if (sign > 0 ? means[size_t(f)] > means[size_t(chosen)]
                             : means[size_t(f)] < means[size_t(chosen)])
                    chosen = f;
        } else {
            std::vector<double> sorted = means;
            std::nth_element(sorted.begin(), sorted.begin() + long(sorted.size() / 2), sorted.end());
            const double median = sorted[sorted.size() / 2];
            for (int f = 1; f < bands.size(); ++f)
                if (std::abs(means[size_t(f)] - median) < std::abs(means[size_t(chosen)] - median))
                    chosen = f;
        }
        clean[size_t(line)] = chosen;
    }
    // Lines every frame shows alike but unlike the track are the bar's fixed ends (arrow
    // buttons): kept where the page starts and ends, bare track between.
    std::vector<double> cleanMeans(static_cast<size_t>(length));
    for (int line = 0; line < length; ++line)
        cleanMeans[size_t(line)] = lineMean(bands[clean[size_t(line)]], line);
    std::vector<double> sortedMeans = cleanMeans;
    std::nth_element(sortedMeans.begin(), sortedMeans.begin() + long(length / 2), sortedMeans.end());
    const double trackMean = sortedMeans[size_t(length / 2)];
    int trackLine = length / 2;
    for (int line = 0; line < length; ++line)
        if (std::abs(cleanMeans[size_t(line)] - trackMean) <
            std::abs(cleanMeans[size_t(trackLine)] - trackMean))
            trackLine = line;
    const auto fixedEnd = [&](int line) {
        double low = 256, high = -1;
        for (const Band& band : bands) {
            const double mean = lineMean(band, line);
            low = std::min(low, mean);
            high = std::max(high, mean);
        }
        return high - low < 2 && std::abs(cleanMeans[size_t(line)] - trackMean) >= 2;
    };
    std::vector<bool> ends(static_cast<size_t>(length));
    for (int line = 0; line < length; ++line)
        ends[size_t(line)] = fixedEnd(line);

    int output = 0;
    int index = 0;
    const int lastPiece = int(pieces.size()) - 1;
    for (const Piece& piece : pieces) {
        const bool first = index == 0, last = index == lastPiece;
        ++index;
        if (piece.length <= 0) continue;
        for (int k = 0; k < piece.length; ++k) {
            const int line = piece.start + k;
            if (line < 0 || line >= length) continue;
            const bool keepEnd = line < length / 2 ? first : last;
            const int sourceLine = ends[size_t(line)] && !keepEnd ? trackLine : line;
            const int source = clean[size_t(sourceLine)];
            if (!result.isEmpty()) {
                Patch& previous = result.last();
                if (previous.source == source && previous.sourceStart + previous.length == sourceLine &&
                    previous.outputStart + previous.length == output + k) {
                    ++previous.length;
                    continue;
                }
            }
            result.append({source, sourceLine, output + k, 1});
        }
        output += piece.length;
    }
    return result;
}

void apply(QImage& output, const QList<QImage>& frames, const QList<Patch>& patches, const Bar& bar,
           bool horizontal) {
    QPainter painter(&output);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (const Patch& patch : patches) {
        if (patch.source < 0 || patch.source >= frames.size()) continue;
        const QImage& frame = frames[patch.source];
        const int across = bar.to - bar.from;
        if (horizontal)
            painter.drawImage(QPoint(patch.outputStart, bar.from), frame,
                              QRect(patch.sourceStart, bar.from, patch.length, across));
        else
            painter.drawImage(QPoint(bar.from, patch.outputStart), frame,
                              QRect(bar.from, patch.sourceStart, across, patch.length));
    }
}

} // namespace ScrollerRemoval
