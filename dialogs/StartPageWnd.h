#pragma once

#include <QFrame>

#include "IObserverBase.h"

class QLabel;
class QMouseEvent;
class QPushButton;
class QResizeEvent;
class QWidget;
class CSkinButton;

// The page that covers an empty stage: a picture and the buttons that open
// files, a folder or a stream. It is a child of the stage, which shows it while
// no window holds anything and relays its signals to the main dialog.
class StartPageWnd : public QFrame, public IObserverBase {
    Q_OBJECT

public:
    explicit StartPageWnd(QWidget* pParent = nullptr);
    ~StartPageWnd() override;

    // Joins the skin observers, builds, sets the texts, connects. A second call
    // does nothing.
    bool Init();
    // The texts in the current language; also the refresh after a language change.
    void UpdateLanguage();
    bool IsOpenMenuShown() const;

    void SkinChanged() override;

signals:
    void Sig_OpenFiles();
    void Sig_OpenFolder();
    void Sig_OpenURL();
    void Sig_MousePressEvent(QMouseEvent* ev);

public slots:
    bool On_ShowOpenMenu();
    bool On_OpenFiles();
    bool On_OpenFolder();
    bool On_OpenURL();

protected:
    void resizeEvent(QResizeEvent* ev) override;
    void leaveEvent(QEvent* ev) override;
    void mousePressEvent(QMouseEvent* ev) override;

private:
    void LayoutChildren();

    QLabel* m_pLabelLeftTop = nullptr;
    QLabel* m_pLabelRightTop = nullptr;
    QWidget* m_pCenterImgContainer = nullptr;
    QLabel* m_pLabelCenterImg = nullptr;
    CSkinButton* m_pBtnOpenFile = nullptr;
    CSkinButton* m_pBtnDropMenu = nullptr;
    QWidget* m_pOpenMenu = nullptr;
    CSkinButton* m_pBtnOpenFolder = nullptr;
    CSkinButton* m_pBtnOpenStream = nullptr;
};
