#pragma once

#include <QMetaType>
#include <QString>

namespace Ambrel::SignIn {

// Who is signed in; an empty user id means nobody.
struct UserInfo
{
    QString userId;
    QString displayName;
};

} // namespace Ambrel::SignIn

Q_DECLARE_METATYPE(Ambrel::SignIn::UserInfo)
