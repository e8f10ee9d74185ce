#pragma once

#include <QColor>
#include <QDialog>
#include <QFont>
#include <QPixmap>
#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

#include "FileInfoSync.h"
#include "IObserverBase.h"
#include "SyncRulerPainter.h"
#include "SyncWndFile.h"
#include "Tavrix.h"

class QLabel;
class QMouseEvent;
class QPushButton;
class QResizeEvent;
class QScrollArea;
class QSlider;
class QWidget;
class CVelquinDlg;

// The time ruler of synchronous play. It hangs under the main dialog while a
// group plays: a time scale over the whole days the group touches, one row per
// window with its file as a bar, and a red line with a time label at the
// group's position that the user can drag to jump.
//
// It holds no play logic: it is handed the group once (StartSyncRuler), is told
// the position by the main dialog's play timer (SetPlayPos) and reports a jump
// with Sig_SyncPlayLocate. Scale and rows are painted into pixmaps only on a new
// group, a zoom, a resize or a skin change, so that a timer tick only moves two
// labels. GUI thread only.
class SyncPlayProgressDlg : public QDialog, public IObserverBase {
    Q_OBJECT

public:
    static const int DLG_HEIGHT = 147;
    static const int MAX_RULER_WIDTH = 30000; // bounds the size of both pixmaps
    static const int MIN_SCALE = 1;
    static const int MAX_SCALE = 50;
    static const int RULER_HEIGHT = 32;
    static const int ROW_HEIGHT = 33;

    explicit SyncPlayProgressDlg(QWidget* pParent = nullptr);
    ~SyncPlayProgressDlg() override;

    // Builds the widgets; false only when it cannot. A second call does nothing.
    bool Init();
    // The owner, asked for the selected window whose row gets its own colour.
    bool SetMainDlg(CVelquinDlg* pMainDlg);
    // Takes the rows of a new group (window order) and the first and last file
    // ranges, and shows the red line at the group's begin.
    bool StartSyncRuler(std::vector<SYNC_WND_FILE*>& vecFiles, FILE_INFO_SYNC* pFirst, FILE_INFO_SYNC* pLast);
    // Back to the empty ruler when the group ends; the red line and label hide.
    bool ResetSyncRuler();
    // The group's position, from the play timer. While the user drags the red
    // line it is only remembered.
    bool SetPlayPos(TAVRIX_SYSTEM_TIME* pTime);
    void UpdateLanguage();
    // The selected window changed: its row takes the selection colour.
    void RefreshSelection() { UpdateFilesPixmap(); }

    // IObserverBase: colours, font and sheets of the ruler, then a repaint.
    void SkinChanged() override;

    // Read access, for the owner and for checks.
    int GetRulerWidth() const { return m_nRulerWidth; }
    int GetBaseWidth() const { return m_nBaseWidth; }
    int GetScale() const { return m_nScale; }
    int GetGrade() const { return m_nGrade; }
    int GetDays() const { return m_nDays; }
    int GetHours() const { return m_nHours; }

signals:
    bool Sig_SyncPlayLocate(double dPrecent, TAVRIX_SYSTEM_TIME* pstTime);

public slots:
    bool On_VScrollBarValueChange(int nValue);
    bool On_VScrollBarSliderRelease();
    bool On_HScrollBarValueChange(int nValue);
    bool On_RulerScaleChange(int nValue);
    bool On_RulerScalePlus();
    bool On_RulerScaleMinus();

protected:
    void mousePressEvent(QMouseEvent* pEvent) override;
    void mouseMoveEvent(QMouseEvent* pEvent) override;
    void mouseReleaseEvent(QMouseEvent* pEvent) override;
    void resizeEvent(QResizeEvent* pEvent) override;

private:
    void SetupUI();
    void LayoutChildren();
    int ViewportWidth() const;
    void SetInitialRanges();
    bool SetScale(int nValue);
    void BuildGradeLabels();
    void UpdateRulerPixmap();
    void UpdateFilesPixmap();
    void SyncScrollRanges();
    void ShowFileLabels(int nFirstRow);
    bool ShowPlayPos(const TAVRIX_SYSTEM_TIME* pTime);
    void DaySpan(TAVRIX_SYSTEM_TIME* pDayBegin, TAVRIX_SYSTEM_TIME* pDayEnd) const;
    bool DragTarget(const QMouseEvent* pEvent, double* pdPrecent, TAVRIX_SYSTEM_TIME* pTime) const;
    int SelectedWndIndex() const;

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
    bool m_bDragPlayPos = false;
    bool m_bCenterPlayPos = false;
    QLabel* m_pLabelPlayPosSysTime = nullptr;
    QLabel* m_pLabelPlayPosRedLine = nullptr;

    QLabel* m_pLabelSyncPlayTitle = nullptr;
    QWidget* m_pScrollAreaRulerContainer = nullptr;
    QScrollArea* m_pScrollAreaRuler = nullptr;
    QWidget* m_pWndTimeRuler = nullptr;
    QLabel* m_pLabelSpace = nullptr;
    QLabel* m_pLabelFileName[3] = {nullptr, nullptr, nullptr};
    QScrollArea* m_pScrollAreaTimes = nullptr;
    QWidget* m_pWndPlayTimes = nullptr;
    QWidget* m_pSliderRulerContainer = nullptr;
    QPushButton* m_pBtnRulerMinus = nullptr;
    QSlider* m_pSliderRulerScale = nullptr;
    QPushButton* m_pBtnRulerPlus = nullptr;

    // Colours, font and measures of the scale and the rows.
    SyncRulerPainter m_painter{SyncRulerPainter::LARGE};
    bool m_bObserving = false;
};
