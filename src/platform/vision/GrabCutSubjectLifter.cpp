#include "platform/vision/GrabCutSubjectLifter.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <exception>

namespace platform::vision {

namespace {

// GrabCut's cost grows with the pixel count; at this size it takes well under a second
// and the scaled-up mask is still accurate to a few pixels.
constexpr int WorkingSize = 800;
// The band along the border that is taken as certain background, as a share of each side.
constexpr double BorderInset = 0.04;
constexpr int Iterations = 4;
// How close (RGB distance, 0...441) a pixel must be to the backdrop to start as background.
constexpr double BackdropDistance = 28.0;
// A subject smaller than this share of the picture, or larger than the upper one, is noise
// or no separation at all.
constexpr double MinSubjectShare = 0.01;
constexpr double MaxSubjectShare = 0.97;
// Specks smaller than this share of the largest region are dropped from the subject.
constexpr double MinRegionShare = 0.1;

Error noSubject() {
    Error error{QStringLiteral("No subject found to cut out")};
    error.code = SubjectLifter::NoSubject;
    return error;
}

Error failed(const QString& reason) {
    Error error{QStringLiteral("Background removal failed: %1").arg(reason)};
    error.code = SubjectLifter::Failed;
    return error;
}

double distance(const cv::Vec3f& a, const cv::Vec3f& b) {
    return cv::norm(a - b);
}

// The initial labels: the border band is background; inside it, pixels that match the
// backdrop are probable background and all others probable subject. The backdrop at a
// pixel is interpolated from the border along its row and along its column, which is exact
// for plain and linear-gradient backdrops. Returns the number of probable-subject pixels.
int seedMask(const cv::Mat& picture, cv::Mat& mask, const cv::Rect& inner) {
    cv::Mat smooth;
    cv::GaussianBlur(picture, smooth, cv::Size(5, 5), 0);
    smooth.convertTo(smooth, CV_32FC3);
    const int w = picture.cols;
    const int h = picture.rows;
    mask.create(h, w, CV_8UC1);
    mask.setTo(cv::Scalar(cv::GC_BGD));
    int candidates = 0;
    for (int y = inner.y; y < inner.y + inner.height; ++y) {
        const cv::Vec3f left = smooth.at<cv::Vec3f>(y, 0);
        const cv::Vec3f right = smooth.at<cv::Vec3f>(y, w - 1);
        const float ty = float(y) / float(h - 1);
        for (int x = inner.x; x < inner.x + inner.width; ++x) {
            const cv::Vec3f top = smooth.at<cv::Vec3f>(0, x);
            const cv::Vec3f bottom = smooth.at<cv::Vec3f>(h - 1, x);
            const float tx = float(x) / float(w - 1);
            const cv::Vec3f pixel = smooth.at<cv::Vec3f>(y, x);
            const double d = std::min(distance(pixel, left + (right - left) * tx),
                                      distance(pixel, top + (bottom - top) * ty));
            const bool backdrop = d < BackdropDistance;
            mask.at<uchar>(y, x) = backdrop ? cv::GC_PR_BGD : cv::GC_PR_FGD;
            candidates += backdrop ? 0 : 1;
        }
    }
    return candidates;
}

// The subject as 0 or 255, without specks and pin holes.
cv::Mat subjectOf(const cv::Mat& mask) {
    cv::Mat subject;
    cv::bitwise_and(mask, cv::Scalar(1), subject); // GC_FGD and GC_PR_FGD are odd
    subject *= 255;
    const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(3, 3));
    cv::morphologyEx(subject, subject, cv::MORPH_OPEN, kernel);
    cv::morphologyEx(subject, subject, cv::MORPH_CLOSE, kernel);

    cv::Mat labels, stats, centroids;
    const int count = cv::connectedComponentsWithStats(subject, labels, stats, centroids, 8, CV_32S);
    int largest = 0;
    for (int i = 1; i < count; ++i)
        largest = std::max(largest, stats.at<int>(i, cv::CC_STAT_AREA));
    for (int i = 1; i < count; ++i)
        if (stats.at<int>(i, cv::CC_STAT_AREA) < largest * MinRegionShare) subject.setTo(0, labels == i);
    return subject;
}

// The picture with the alpha mask (same size, 0...255) applied, premultiplied.
QImage applyAlpha(const QImage& image, const cv::Mat& alpha) {
    QImage result = image.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < result.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(result.scanLine(y));
        const uchar* a = alpha.ptr<uchar>(y);
        for (int x = 0; x < result.width(); ++x)
            line[x] = qRgba(qRed(line[x]), qGreen(line[x]), qBlue(line[x]), qAlpha(line[x]) * a[x] / 255);
    }
    result = result.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    result.setDevicePixelRatio(image.devicePixelRatio());
    return result;
}

} // namespace

Result<QImage> GrabCutSubjectLifter::lift(const QImage& image) {
    if (image.isNull()) return failed(QStringLiteral("the picture is empty."));
    if (image.width() < 16 || image.height() < 16) return noSubject();
    try {
        const QImage rgb = image.convertToFormat(QImage::Format_RGB888);
        const cv::Mat full(rgb.height(), rgb.width(), CV_8UC3, const_cast<uchar*>(rgb.constBits()),
                           size_t(rgb.bytesPerLine()));
        const double factor = std::min(1.0, double(WorkingSize) / std::max(full.cols, full.rows));
        cv::Mat picture = full;
        if (factor < 1.0) cv::resize(full, picture, cv::Size(), factor, factor, cv::INTER_AREA);

        const int insetX = std::max(1, int(std::lround(picture.cols * BorderInset)));
        const int insetY = std::max(1, int(std::lround(picture.rows * BorderInset)));
        const cv::Rect inner(insetX, insetY, picture.cols - 2 * insetX, picture.rows - 2 * insetY);
        const double innerArea = double(inner.area());

        cv::Mat mask;
        const int candidates = seedMask(picture, mask, inner);
        // GrabCut's colour models need samples of both kinds.
        if (candidates < std::max(16.0, innerArea * MinSubjectShare)) return noSubject();

        cv::Mat backgroundModel, subjectModel;
        cv::grabCut(picture, mask, inner, backgroundModel, subjectModel, Iterations, cv::GC_INIT_WITH_MASK);

        const cv::Mat subject = subjectOf(mask);
        const double share = cv::countNonZero(subject) / innerArea;
        if (share < MinSubjectShare || share > MaxSubjectShare) return noSubject();

        // Back to full size with a soft edge about one working pixel wide.
        cv::Mat alpha = subject;
        if (factor < 1.0) cv::resize(subject, alpha, full.size(), 0, 0, cv::INTER_LINEAR);
        cv::GaussianBlur(alpha, alpha, cv::Size(0, 0), std::max(1.0, 0.5 / factor));
        return applyAlpha(image, alpha);
    } catch (const cv::Exception& e) {
        return failed(QString::fromStdString(e.err));
    } catch (const std::exception& e) {
        return failed(QString::fromUtf8(e.what()));
    }
}

} // namespace platform::vision
