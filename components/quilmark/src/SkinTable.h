#pragma once

#include <QColor>
#include <QFont>
#include <QHash>
#include <QString>

// One skin as read from its description file ":/skin/<name>/Skin.xml":
//
//   <Skin name="default">
//     <Resource id="38" qss="PlayWnd.qss">
//       <Color index="0">#000000</Color>
//       <Picture index="1">images/cursor_hand.svg</Picture>
//       <Sheet index="0">QPushButton { ... }</Sheet>
//       <Font index="0" family="Arial" pixelSize="12" bold="1" />
//     </Resource>
//   </Skin>
//
// File names are relative to the skin's folder; "@SKIN@" in a sheet stands for
// the folder (":/skin/<name>").
class SkinTable {
public:
    bool Load(const QString& strSkinDir);
    void Clear();

    QString QssPath(int nResource) const;
    QString Sheet(int nResource, int nIndex) const;
    QColor Color(int nResource, int nIndex) const;
    QFont Font(int nResource, int nIndex, bool* pbFound = nullptr) const;
    QString Picture(int nResource, int nIndex) const;

private:
    struct Resource {
        QString strQss;
        QHash<int, QString> hashSheets;
        QHash<int, QColor> hashColors;
        QHash<int, QFont> hashFonts;
        QHash<int, QString> hashPictures;
    };

    QString m_strDir;
    QHash<int, Resource> m_hashResources;
};
