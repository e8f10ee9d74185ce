#include "OverlayPainter.h"

#include "Tavrix.h"

#include <QFont>
#include <QFontMetrics>
#include <QPainter>
#include <QPolygonF>

#include <algorithm>

namespace tavrix {
namespace {

QColor ColourOf(int32_t nKind) {
    switch (nKind) {
    case TAVRIX_RENDER_MD:
        return QColor(255, 48, 48); // motion zones stand apart from objects
    case TAVRIX_RENDER_FIRE_DETECT:
        return QColor(255, 140, 0);
    case TAVRIX_RENDER_TEM:
        return QColor(0, 200, 255);
    default:
        return QColor(0, 255, 64);
    }
}

bool Wanted(const OverlayTrack::Item& item, uint32_t nKinds, uint32_t nTemShapes) {
    if ((static_cast<uint32_t>(item.nKind) & nKinds) == 0) {
        return false;
    }
    return item.nKind != TAVRIX_RENDER_TEM || (static_cast<uint32_t>(item.nSubType) & nTemShapes) != 0;
}

// A label with a dark backing, so that it reads on any picture.
void DrawLabel(QPainter& painter, const QPointF& ptAnchor, const QString& strText, const QColor& colour,
               const QSize& sizeDst) {
    if (strText.isEmpty()) {
        return;
    }
    const QFontMetrics fm(painter.font());
    const QRect rcText = fm.boundingRect(strText);
    const qreal dW = rcText.width() + 4;
    const qreal dH = fm.height();
    qreal dX = std::clamp<qreal>(ptAnchor.x(), 0, std::max<qreal>(0, sizeDst.width() - dW));
    qreal dY = ptAnchor.y() - dH; // above the shape, or inside it at the top edge
    if (dY < 0) {
        dY = ptAnchor.y();
    }
    painter.fillRect(QRectF(dX, dY, dW, dH), QColor(0, 0, 0, 160));
    painter.setPen(colour);
    painter.drawText(QRectF(dX + 2, dY, dW, dH), Qt::AlignLeft | Qt::AlignVCenter, strText);
}

void DrawItem(QPainter& painter, const OverlayTrack::Item& item, const OverlayPainter::Geometry& geo) {
    if (item.vecPoints.empty()) {
        return;
    }
    const QColor colour = ColourOf(item.nKind);
    painter.setPen(QPen(colour, 2));
    painter.setBrush(Qt::NoBrush);
    QPointF ptLabel;
    switch (item.eShape) {
    case OverlayTrack::Shape::Box: {
        if (item.vecPoints.size() < 2) {
            return;
        }
        // Rotation and flips may swap the corners: the box is the hull of its two.
        const QRectF rc =
            QRectF(OverlayPainter::Map(item.vecPoints[0], geo), OverlayPainter::Map(item.vecPoints[1], geo))
                .normalized();
        painter.drawRect(rc);
        ptLabel = rc.topLeft();
        break;
    }
    case OverlayTrack::Shape::Polygon: {
        QPolygonF poly;
        for (const OverlayTrack::Point& pt : item.vecPoints) {
            poly << OverlayPainter::Map(pt, geo);
        }
        // Two points are a line (a temperature line); more close a zone.
        if (poly.size() == 2) {
            painter.drawPolyline(poly);
        } else {
            painter.drawPolygon(poly);
        }
        ptLabel = poly.boundingRect().topLeft();
        break;
    }
    case OverlayTrack::Shape::Point: {
        const QPointF pt = OverlayPainter::Map(item.vecPoints[0], geo);
        painter.drawLine(pt - QPointF(6, 0), pt + QPointF(6, 0));
        painter.drawLine(pt - QPointF(0, 6), pt + QPointF(0, 6));
        ptLabel = pt + QPointF(8, 0);
        break;
    }
    }
    DrawLabel(painter, ptLabel, QString::fromStdString(item.strLabel), colour, geo.sizeDst);
}

// Text lines (point of sale) at the lower left, the last line lowest.
void DrawLines(QPainter& painter, const std::vector<std::string>& vecLines, const QSize& sizeDst) {
    QStringList listRows;
    for (const std::string& strLine : vecLines) {
        listRows += QString::fromStdString(strLine).split('\n');
    }
    const QFontMetrics fm(painter.font());
    const qreal dRow = fm.height();
    qreal dY = sizeDst.height() - 4 - dRow * listRows.size();
    for (const QString& strRow : listRows) {
        const qreal dW = fm.horizontalAdvance(strRow) + 6;
        painter.fillRect(QRectF(4, dY, dW, dRow), QColor(0, 0, 0, 160));
        painter.setPen(Qt::white);
        painter.drawText(QRectF(7, dY, dW, dRow), Qt::AlignLeft | Qt::AlignVCenter, strRow);
        dY += dRow;
    }
}

} // namespace

QPointF OverlayPainter::Map(const OverlayTrack::Point& pt, const Geometry& geo) {
    qreal dU = pt.fX;
    qreal dV = pt.fY;
    // The rotation of the decoded picture, in fractions: a quarter turn to
    // the left takes the top right corner to the top left.
    switch (geo.nRotate) {
    case 0: {
        const qreal dU0 = dU;
        dU = dV;
        dV = 1.0 - dU0;
        break;
    }
    case 1: {
        const qreal dU0 = dU;
        dU = 1.0 - dV;
        dV = dU0;
        break;
    }
    case 2:
        dU = 1.0 - dU;
        dV = 1.0 - dV;
        break;
    default:
        break;
    }
    if ((geo.nFlip & TAVRIX_FLIP_HORIZONTAL) != 0) {
        dU = 1.0 - dU;
    }
    if ((geo.nFlip & TAVRIX_FLIP_VERTICAL) != 0) {
        dV = 1.0 - dV;
    }
    const qreal dX = dU * geo.sizeShown.width();
    const qreal dY = dV * geo.sizeShown.height();
    if (geo.rcSource.width() <= 0 || geo.rcSource.height() <= 0) {
        return {};
    }
    return QPointF((dX - geo.rcSource.left()) * geo.sizeDst.width() / geo.rcSource.width(),
                   (dY - geo.rcSource.top()) * geo.sizeDst.height() / geo.rcSource.height());
}

void OverlayPainter::Paint(QPainter& painter, const OverlayTrack& track, int64_t nTimeUs, uint32_t nKinds,
                           uint32_t nTemShapes, const Geometry& geo) {
    const std::vector<OverlayTrack::Item> vecItems =
        (nKinds & ~static_cast<uint32_t>(TAVRIX_RENDER_ADD_POS)) != 0 ? track.ItemsAt(nTimeUs)
                                                                      : std::vector<OverlayTrack::Item>();
    const std::vector<std::string> vecLines =
        (nKinds & TAVRIX_RENDER_ADD_POS) != 0 ? track.LinesAt(nTimeUs) : std::vector<std::string>();
    if (vecItems.empty() && vecLines.empty()) {
        return;
    }
    painter.save();
    QFont font = painter.font();
    font.setPixelSize(std::clamp(geo.sizeDst.height() / 24, 10, 28));
    painter.setFont(font);
    painter.setClipRect(QRect(QPoint(0, 0), geo.sizeDst));
    for (const OverlayTrack::Item& item : vecItems) {
        if (Wanted(item, nKinds, nTemShapes)) {
            DrawItem(painter, item, geo);
        }
    }
    if (!vecLines.empty()) {
        DrawLines(painter, vecLines, geo.sizeDst);
    }
    painter.restore();
}

} // namespace tavrix
