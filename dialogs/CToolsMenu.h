#pragma once

#include "PopupPanel.h"

class QHideEvent;
class QLabel;
class QPaintEvent;
class CSkinButton;

// The toolbox popup of the control bar: four buttons that start the companion
// programs (clip, convert, merge, streaming) without a file. Frameless; it hides
// itself when it loses the focus and tells the main dialog.
class CToolsMenu : public PopupPanel {
    Q_OBJECT

public:
    static const int MENU_WIDTH = 270;
    static const int MENU_HEIGHT = 142;

    explicit CToolsMenu(QWidget* pParent = nullptr);

    bool Init();
    void UpdateLanguage();

    void SkinChanged() override;

signals:
    void Sig_ShowFileConvertDlg(bool bAddCurWndPlayFile);
    void Sig_ShowFileMergeDlg(bool bAddCurWndPlayFile);
    void Sig_ShowFileCutDlg(bool bAddCurWndPlayFile);
    void Sig_ShowNpsDlg(bool bAddCurWndPlayFile);
    void Sig_focusOutEvent();

public slots:
    bool On_ShowFileConvertDlg();
    bool On_ShowFileMergeDlg();
    bool On_ShowFileCutDlg();
    bool On_ShowNpsDlg();

protected:
    void hideEvent(QHideEvent* ev) override;
    void paintEvent(QPaintEvent* ev) override;

private:
    QLabel* m_pLabelTitle = nullptr;
    CSkinButton* m_pBtnConvert = nullptr;
    CSkinButton* m_pBtnMerge = nullptr;
    CSkinButton* m_pBtnNps = nullptr;
    CSkinButton* m_pBtnCut = nullptr;
};
