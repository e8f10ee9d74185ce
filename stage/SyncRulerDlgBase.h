#pragma once

#include <QDialog>
#include <QPixmap>
#include <QStringList>

#include <utility>
#include <vector>

#include "FileInfoSync.h"
#include "IObserverBase.h"
#include "SyncRulerPainter.h"
#include "SyncWndFile.h"
#include "Tavrix.h"

class QLabel;
class QResizeEvent;
class QScrollArea;
class QWidget;
class CVelquinDlg;

// What the two rulers of synchronous play share: the group they show, the
// scale and the rows in two scroll areas that scroll sideways together, the
// red line at the group's position, and the pictures of scale and rows, made
// again only on a new group, a zoom, a resize or a skin change. The large ruler
// under the main dialog and the small one of full screen differ in measures,
// in the widgets around the rows and in what a press does. GUI thread only.
class SyncRulerDlgBase : public QDialog, public IObserverBase {
    Q_OBJECT

public:
    ~SyncRulerDlgBase() override;

    // The owner; the pictures wait for it.
    bool SetMainDlg(CVelquinDlg* pMainDlg);
    // The group's position, from the play timer.
    virtual bool SetPlayPos(TAVRIX_SYSTEM_TIME* pTime) = 0;

public slots:
    // The rows' vertical bar moved.
    virtual bool On_VScrollBarValueChange(int nValue) = 0;
    // After a drag of the rows' vertical bar: back onto a row's top.
    bool On_VScrollBarSliderRelease();

protected:
    // Red line label measures: its size, the line's column inside it and the
    // half width of the handle at its top.
    struct RedLine {
        int nWidth;
        int nHeight;
        int nLineX;
        int nHandle;
    };

    SyncRulerDlgBase(QWidget* pParent, const SyncRulerPainter::Measures& measures, int nDlgHeight);

    // Makes the children; the rows' area, the scale's area and the red line
    // among them.
    virtual void SetupUI() = 0;
    // Places the children for the present size.
    virtual void LayoutChildren() = 0;
    // The window whose row takes the selection colour, or -1.
    virtual int SelectedWndIndex() const = 0;

    // Makes and places the children for the present size and hooks up the
    // rows' vertical bar.
    void CreateWidgets();
    // Widgets both rulers have. The scale's area lies in pContainer and never
    // scrolls by itself; the rows' area gets both bars.
    void CreateScaleArea(QWidget* pContainer, const QSize& szInitial);
    void CreateRowsArea(const QSize& szInitial);
    // Made last, so that it lies above the scale and the rows; hidden until a
    // group starts.
    void CreateRedLine(const RedLine& line);

    // The rows' viewport width as the scroll area itself works it out; the
    // widget may not be laid out yet (a hidden dialog gets its resize events late).
    int ViewportWidth() const;
    // The empty span shown before a group starts: one day in 1998.
    void SetInitialRanges();
    // Takes a new group's rows (window order) and its first and last file
    // ranges, after laying the children out for the present size; false when
    // the span is empty.
    bool TakeGroup(std::vector<SYNC_WND_FILE*>& vecFiles, FILE_INFO_SYNC* pFirst, FILE_INFO_SYNC* pLast);
    // Paints the group taken, scrolled to its top left, and shows the red line.
    void ShowGroup();
    // Back to the empty span with the red line hidden.
    void ResetGroup();
    void BuildGradeLabels();
    void UpdateRulerPixmap();
    void UpdateFilesPixmap();
    // The scroll areas set their ranges when they see the resize of their
    // widget, which a hidden dialog receives only when shown; the follow rule
    // needs them now.
    void SyncScrollRanges();
    // The column of pTime on the ruler; false when it lies outside the span.
    bool PlayPosX(const TAVRIX_SYSTEM_TIME* pTime, int* pnX) const;
    // Scrolls the rows only as far as needed to keep column x in view.
    void FollowPlayPos(int x);
    // The dialog's sheet from skin resource nQssRes and the rows' bar sheet.
    void ApplySheets(int nQssRes);
    // Follows the skin from now on (calls SkinChanged() at once).
    void ObserveSkin();

    void resizeEvent(QResizeEvent* pEvent) override;

    CVelquinDlg* m_pMainDlg = nullptr;
    TAVRIX_SYSTEM_TIME m_stPlayTime{};
    int m_nBaseWidth = 0;
    int m_nRulerWidth = 0;
    FILE_INFO_SYNC m_stFirstFile{};
    FILE_INFO_SYNC m_stLastFile{};
    std::vector<SYNC_WND_FILE> m_vecFiles;
    std::vector<std::pair<float, float>> m_vecFilePos; // start and end as fractions of the day span
    int m_nDays = 1;
    int m_nHours = 24;
    int m_nGrade = 0;
    int m_nScale = 1;
    QStringList m_lstGradeLabels[4];
    QPixmap m_pixRuler;
    QPixmap m_pixFiles;
    // Colours, font and measures of the scale and the rows.
    SyncRulerPainter m_painter;

    QWidget* m_pScrollAreaRulerContainer = nullptr;
    QScrollArea* m_pScrollAreaRuler = nullptr;
    QWidget* m_pWndTimeRuler = nullptr;
    QScrollArea* m_pScrollAreaTimes = nullptr;
    QWidget* m_pWndPlayTimes = nullptr;
    QLabel* m_pLabelPlayPosRedLine = nullptr;

private:
    bool m_bObserving = false;
};
