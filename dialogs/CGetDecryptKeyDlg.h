#pragma once

#include <QMap>
#include <QString>
#include <QVector>

#include "CustomDialog.h"
#include "IObserverBase.h"

class QAbstractButton;
class QButtonGroup;
class QEvent;
class QLabel;
class QLineEdit;
class QPushButton;
class QScrollArea;
class QWidget;

// Asks for the key of each encrypted file, one row per file: the file name, a
// password field and an "Apply to all" button. The caller hands in the paths with
// empty keys, runs the dialog with exec() and, when it was accepted, reads the keys
// back; the dialog keeps no key once it is gone.
//
// Object names (skin resource 11 and tests): m_pWgtTitleBar, m_pLabTitle,
// m_pBtnClose, m_pScrollArea, m_pItemsContainer, m_pWarningContainer,
// m_pLabelKeyImg, m_pTextWarning, m_pBtnOK, m_pBtnCancel; the widgets of row i are
// pLabFileName_<i>, pEditKey_<i>, pBtnApplyAll_<i>.
class CGetDecryptKeyDlg : public CustomDialog, public IObserverBase {
    Q_OBJECT
public:
    // A key is 1 to 16 characters.
    static constexpr int MAX_KEY_LENGTH = 16;

    struct KeyRow {
        QLabel* pLabFileName = nullptr;
        QLineEdit* pEditKey = nullptr;
        QPushButton* pBtnApplyAll = nullptr;
        QString strFilePath;
    };

    explicit CGetDecryptKeyDlg(QWidget* pParent = nullptr);
    ~CGetDecryptKeyDlg() override;

    // Builds the widgets, connects, sets the texts and joins the skin observers.
    // Call once, before SetFiles.
    bool Init();

    // Replaces the files asked for (path -> key, keys normally empty) and builds one
    // row per path, in path order. An empty map builds nothing.
    void SetFiles(const QMap<QString, QString>& mapFileKey);
    // The keys given, by path: after an accepted dialog every path of SetFiles with
    // its key; before that, what SetFiles received.
    void GetFileKeys(QMap<QString, QString>& mapFileKey) const;

    void SetupUI() override;
    void ReTranslateUI() override;
    void InitBkgs() override;
    void ConnectSignals() override;
    void SkinChanged() override;

public slots:
    void On_BtnApplyAllPressed(QAbstractButton* pBtn);
    // Checks every row from the top; the first empty or too long key shows its
    // message and keeps the dialog open. Otherwise takes the keys and accepts.
    void On_OK() override;
    // Rejects: no key is taken.
    void On_Cancel() override;

protected:
    void changeEvent(QEvent* pEvent) override;

private:
    void ClearRows();
    void ApplyRowStyles();
    void ShowKeyMessage(const char* pKey, const char* pDefault);

    QMap<QString, QString> m_mapFileKey;
    QVector<KeyRow> m_vecKeyRows;

    QWidget* m_pWgtTitleBar = nullptr;
    QLabel* m_pLabTitle = nullptr;
    QPushButton* m_pBtnClose = nullptr;
    QScrollArea* m_pScrollArea = nullptr;
    QWidget* m_pItemsContainer = nullptr;
    QWidget* m_pWarningContainer = nullptr;
    QLabel* m_pLabelKeyImg = nullptr;
    QLabel* m_pTextWarning = nullptr;
    QPushButton* m_pBtnOK = nullptr;
    QPushButton* m_pBtnCancel = nullptr;
    QButtonGroup* m_pBtnGroupApply = nullptr;

    QString m_strFileStyle;
    QString m_strEditStyle;
    QString m_strApplyStyle;

    bool m_bInited = false;
    bool m_bObserving = false;
};
