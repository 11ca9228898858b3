#include "miscdisc/platform/resources.h"

WString resourceStrW(unsigned id) {
  switch (id) {
    case 10940:
      return L"Other users are in this lobby";
    case 10946:
      return L"This room is in use by $NAME$";
    default:
      return L"";
  }
}
