#include "state/app_state.h"

namespace tavrel {

void firstValues(AppState& st, double scaleWidth, double scaleHeight) {
  st.ssg = 4;
  st.detailf = 20;
  st.complexy = 2;
  st.swidth = 100;
  st.a = Int(scaleWidth / 2.0);
  st.b = Int(scaleHeight / 2.0) - st.swidth / 2;
  st.az = st.a;
  st.bz = st.b;
}

}  // namespace tavrel
