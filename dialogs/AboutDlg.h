#pragma once

#include <QString>

#include "CustomDialog.h"
#include "IObserverBase.h"

class QLabel;
class QPushButton;

// The about box: the player's version with its build date, the engine's version
// and a line about the makers.
class AboutDlg : public CustomDialog, public IObserverBase {
    Q_OBJECT

public:
    explicit AboutDlg(QWidget* pParent = nullptr);
    ~AboutDlg() override;

    bool Init();

    // "yyyyMMdd" from a compiler date text such as "Jul  2 2018" (split at
    // blanks, empty parts kept; three or four parts expected, else empty). An
    // unknown month name stays as it stands.
    static QString BuildDateDigits(const QString& strCompilerDate);
    // "Tavrix.dll, V%d.%d.%d.%d" from the engine's version number.
    static QString EngineVersionText(unsigned int nVersion);

    void SkinChanged() override;

private:
    void SetupUI() override;
    void ReTranslateUI() override;
    void InitBkgs() override;
    void ConnectSignals() override;

    QLabel* m_pLabelTitle = nullptr;
    QPushButton* m_pBtnClose = nullptr;
    QLabel* m_pLabelPlayerIcon = nullptr;
    QLabel* m_pLabelPlayerVision = nullptr;
    QLabel* m_pLabelTavrixVision = nullptr;
    QLabel* m_pLabelCompanyVision = nullptr;
};
