#include "WidgetPresenter.h"

#include "CallbackSet.h"
#include "EngineLog.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QPainter>
#include <QThread>
#include <QWidget>

namespace tavrix {
namespace {

bool OnGuiThread() {
    QCoreApplication* pApp = QCoreApplication::instance();
    return pApp != nullptr && QThread::currentThread() == pApp->thread();
}

// Runs fn on the GUI thread, waiting for it when called from elsewhere.
template <typename Fn> void RunOnGuiThread(Fn fn) {
    QCoreApplication* pApp = QCoreApplication::instance();
    if (pApp == nullptr) {
        return;
    }
    if (OnGuiThread()) {
        fn();
        return;
    }
    QMetaObject::invokeMethod(pApp, fn, Qt::BlockingQueuedConnection);
}

// The "J" formats are their plain twins in full range; libswscale wants the
// twin and the range given apart (and complains on every picture otherwise).
AVPixelFormat PlainFormat(AVPixelFormat eFormat, bool* pbFullRange) {
    switch (eFormat) {
    case AV_PIX_FMT_YUVJ420P:
        *pbFullRange = true;
        return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
        *pbFullRange = true;
        return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P:
        *pbFullRange = true;
        return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P:
        *pbFullRange = true;
        return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P:
        *pbFullRange = true;
        return AV_PIX_FMT_YUV411P;
    default:
        return eFormat;
    }
}

} // namespace

WidgetPresenter::WidgetPresenter(int nPort, CallbackSet* pCallbacks, std::shared_ptr<SurfaceLink> pLink,
                                 int nRegion)
    : m_nPort(nPort), m_pCallbacks(pCallbacks), m_nRegion(nRegion), m_pLink(std::move(pLink)) {}

std::shared_ptr<WidgetPresenter> WidgetPresenter::Create(int nPort, uintptr_t nWindowId,
                                                         CallbackSet* pCallbacks, int nRegion) {
    auto pLink = std::make_shared<SurfaceLink>();
    bool bAttached = false;
    RunOnGuiThread([&] {
        QWidget* pWidget = QWidget::find(static_cast<WId>(nWindowId));
        if (pWidget == nullptr) {
            return;
        }
        PresentSurface::Attach(pWidget, pLink);
        bAttached = true;
    });
    if (!bAttached) {
        EngineLog::Warn(nPort, "no widget with window id %llu", static_cast<unsigned long long>(nWindowId));
        return nullptr;
    }
    return std::shared_ptr<WidgetPresenter>(new WidgetPresenter(nPort, pCallbacks, pLink, nRegion));
}

WidgetPresenter::~WidgetPresenter() {
    QCoreApplication* pApp = QCoreApplication::instance();
    if (pApp == nullptr) {
        return;
    }
    std::shared_ptr<SurfaceLink> pLink = m_pLink;
    if (OnGuiThread()) {
        PresentSurface::Detach(pLink);
        return;
    }
    // Not waited for: the GUI thread may itself be waiting for this thread.
    QMetaObject::invokeMethod(
        pApp, [pLink] { PresentSurface::Detach(pLink); }, Qt::QueuedConnection);
}

void WidgetPresenter::Present(const VideoFrame& frame) {
    PresentPart(frame, nullptr, OverlayFn());
}

void WidgetPresenter::PresentPart(const VideoFrame& frame, const TAVRIX_RECT* pSource,
                                  const OverlayFn& fnOverlay) {
    const AVFrame* pFrame = frame.Picture();
    const int nW = m_pLink->nWidth.load();
    const int nH = m_pLink->nHeight.load();
    if (pFrame == nullptr || nW <= 0 || nH <= 0) {
        return;
    }
    QRectF rcSource(0, 0, pFrame->width, pFrame->height);
    // A rectangle made for another size or orientation of the picture (the
    // window learns of the change after the picture) shows the whole picture.
    const bool bPart = pSource != nullptr && pSource->nLeft >= 0 && pSource->nTop >= 0 &&
                       pSource->nRight <= pFrame->width && pSource->nBottom <= pFrame->height &&
                       pSource->nRight - pSource->nLeft >= 2 && pSource->nBottom - pSource->nTop >= 2 &&
                       !(pSource->nLeft == 0 && pSource->nTop == 0 && pSource->nRight == pFrame->width &&
                         pSource->nBottom == pFrame->height);
    if (bPart) {
        if (!m_pCrop) {
            m_pCrop.reset(av_frame_alloc());
        }
        // The crop shares the picture's buffers: only the plane pointers move.
        if (m_pCrop && av_frame_ref(m_pCrop.get(), pFrame) >= 0) {
            m_pCrop->crop_left = static_cast<size_t>(pSource->nLeft);
            m_pCrop->crop_top = static_cast<size_t>(pSource->nTop);
            m_pCrop->crop_right = static_cast<size_t>(pFrame->width - pSource->nRight);
            m_pCrop->crop_bottom = static_cast<size_t>(pFrame->height - pSource->nBottom);
            // Unaligned: the rectangle exactly (odd edges round the chroma planes down).
            if (av_frame_apply_cropping(m_pCrop.get(), AV_FRAME_CROP_UNALIGNED) >= 0) {
                pFrame = m_pCrop.get();
                rcSource = QRectF(pSource->nLeft, pSource->nTop, pSource->nRight - pSource->nLeft,
                                  pSource->nBottom - pSource->nTop);
            }
        }
    }
    struct CropRelease {
        AVFrame* p;
        ~CropRelease() {
            if (p != nullptr) {
                av_frame_unref(p);
            }
        }
    } release{m_pCrop.get()};

    bool bFullRange = pFrame->color_range == AVCOL_RANGE_JPEG;
    const AVPixelFormat eFormat = PlainFormat(static_cast<AVPixelFormat>(pFrame->format), &bFullRange);
    const ScaleSetup setup{pFrame->width, pFrame->height, eFormat, nW, nH, bFullRange};
    if (!m_pSws || !(setup == m_setup)) {
        m_pSws.reset(sws_getContext(pFrame->width, pFrame->height, eFormat, nW, nH, AV_PIX_FMT_RGB32,
                                    SWS_BILINEAR, nullptr, nullptr, nullptr));
        if (!m_pSws) {
            EngineLog::Warn(m_nPort, "no scaler for %dx%d to %dx%d", pFrame->width, pFrame->height, nW, nH);
            m_pCallbacks->ReportRunTime(1, TAVRIX_RT_RENDER);
            return;
        }
        const int* pCoefficients = sws_getCoefficients(SWS_CS_DEFAULT);
        sws_setColorspaceDetails(m_pSws.get(), pCoefficients, bFullRange ? 1 : 0, pCoefficients, 1, 0,
                                 1 << 16, 1 << 16);
        m_setup = setup;
    }
    QImage img(nW, nH, QImage::Format_RGB32);
    if (img.isNull()) {
        return;
    }
    uint8_t* apDst[4] = {img.bits(), nullptr, nullptr, nullptr};
    int anDstStride[4] = {static_cast<int>(img.bytesPerLine()), 0, 0, 0};
    if (sws_scale(m_pSws.get(), pFrame->data, pFrame->linesize, 0, pFrame->height, apDst, anDstStride) <= 0) {
        m_pCallbacks->ReportRunTime(1, TAVRIX_RT_RENDER);
        return;
    }
    const CallbackSet::Draw draw = m_pCallbacks->GetDraw(m_nRegion);
    if (fnOverlay || draw.pfn != nullptr) {
        QPainter painter(&img);
        if (fnOverlay) {
            fnOverlay(painter, rcSource, QSize(nW, nH));
        }
        if (draw.pfn != nullptr) {
            draw.pfn(m_nPort, &painter, draw.pUser);
        }
    }
    Publish(img);
}

void WidgetPresenter::Clear() {
    QImage img(1, 1, QImage::Format_RGB32);
    img.fill(Qt::black);
    Publish(img);
}

void WidgetPresenter::Publish(QImage& img) {
    {
        std::lock_guard<std::mutex> lock(m_pLink->mtx);
        m_pLink->img.swap(img);
    }
    img = QImage(); // the previous picture goes outside the lock
    if (m_pLink->bUpdatePending.exchange(true)) {
        return; // the GUI thread has not painted the previous one yet
    }
    QCoreApplication* pApp = QCoreApplication::instance();
    if (pApp == nullptr) {
        m_pLink->bUpdatePending = false;
        return;
    }
    std::shared_ptr<SurfaceLink> pLink = m_pLink;
    QMetaObject::invokeMethod(
        pApp,
        [pLink] {
            pLink->bUpdatePending = false;
            if (pLink->pSurface) {
                pLink->pSurface->RequestUpdate();
            }
        },
        Qt::QueuedConnection);
}

} // namespace tavrix
