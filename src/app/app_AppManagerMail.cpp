// The supervision service: the mails that it sends.
#include "app/app_AppManager.h"

namespace services::app {

void AppManager::sendMail(const char* /*daemon*/) {}

}  // namespace services::app
