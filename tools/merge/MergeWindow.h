// The merger's window: the recordings (any order; they are merged by their
// start time), the output file and whether differing recordings may be
// re-encoded.
#pragma once

#include "ToolWindow.h"

class QCheckBox;
class QLineEdit;
class QListWidget;

class MergeWindow : public ToolWindow {
    Q_OBJECT
public:
    explicit MergeWindow(QWidget* pParent = nullptr);

    void AddFiles(const QStringList& lstFiles);
    QStringList Files() const;

protected:
    QString TitleText() const override;
    void BuildContent(QVBoxLayout* pContent) override;
    void On_StartClicked() override;

private:
    void On_Add();
    void On_Remove();
    void On_BrowseOutput();

    QListWidget* m_pListFiles = nullptr;
    QLineEdit* m_pEditOut = nullptr;
    QCheckBox* m_pChkReencode = nullptr;
};
