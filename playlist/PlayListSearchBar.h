#pragma once

#include <QString>
#include <QWidget>

#include "IObserverBase.h"
#include "Tavrix.h"

class QDateTimeEdit;
class QLineEdit;
class QPaintEvent;
class QPushButton;

// The bar above the playlist that narrows the list: by file name with a small
// pattern language, or to the files whose global time range holds a moment. It
// only asks; CPlaylist hides and shows the rows. Two tabs choose the search,
// and every change of tab shows all rows again.
//
// GUI thread only.
class PlayListSearchBar : public QWidget, public IObserverBase {
    Q_OBJECT

public:
    explicit PlayListSearchBar(QWidget* pParent = nullptr);
    ~PlayListSearchBar() override;

    // Builds, names, translates, connects, enters the name tab, sets the
    // validator and shortcuts and joins the skin observers. Once only.
    bool Init();
    // Sets every text again from the language file.
    void UpdateLanguage();

    // 0 name tab, 1 time tab, -1 before Init.
    int GetSearchMode() const { return m_nSearchMode; }

    void SkinChanged() override;

signals:
    void Sig_SearchByFileName(QString strFileName);
    // The record lives for the emission only: connect directly.
    void Sig_SearchByGlobalTime(TAVRIX_SYSTEM_TIME* pGlobalTime);
    void Sig_SearchShowAllFiles();

public slots:
    void On_ShowSearchNameBar();
    void On_ShowSearchTimeBar();
    void On_SearchByFileName();
    void On_SearchByGlobalTime();

protected:
    // A plain QWidget ignores the background of its style sheet; draw it.
    void paintEvent(QPaintEvent* pEvent) override;

private:
    void SetupUI();
    void ConnectSignals();
    void EnterMode(int nMode);

    QPushButton* m_pBtnShowNameBar = nullptr;
    QPushButton* m_pBtnShowTimeBar = nullptr;
    QWidget* m_pSearchNameBar = nullptr;
    QLineEdit* m_pEditSearchName = nullptr;
    QPushButton* m_pBtnSearchName = nullptr;
    QWidget* m_pSearchTimeBar = nullptr;
    QDateTimeEdit* m_pSearchTimeEdit = nullptr;
    QPushButton* m_pBtnSearchTime = nullptr;
    int m_nSearchMode = -1;
};
