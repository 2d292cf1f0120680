#include "Platform/Qt/QtURLOpener.hpp"

#include <QDesktopServices>
#include <QUrl>

#include "Core/Utils/Logging.hpp"

namespace tandri::qt {

void QtURLOpener::openURL(const std::string& url) {
    const QUrl target(QString::fromStdString(url), QUrl::StrictMode);
    if (!target.isValid() || !QDesktopServices::openUrl(target)) {
        logInProduction("could not open " + url);
    }
}

}  // namespace tandri::qt
