#include "dtv_manage/dtv_manage.h"

int main() {
  Cinquill::CGI::DTVManage handler;
  return handler.Run() ? 0 : 1;
}
