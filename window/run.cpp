#include "window/run.h"

#include "modes/modes.h"

namespace tavrel {

void connectRunModes(Form& form) {
  AppState& st = form.st;
  form.onCommand3 = [&] { command3Click(form, st); };
  form.onCommand1 = [&] { command1Click(form, st); };
  form.onSsaver = [&] { ssaverClick(form, st); };
  form.onRegmode = [&] { regmodeClick(form, st); };
  form.onOrderinfo = [&] { orderinfoClick(form, st); };
  form.onMouseDown = [&] { windowMouseDown(form, st); };
  form.Timer1.tick = [&] { timer1Tick(form, st); };
  form.Timer2.tick = [&] { timer2Tick(form, st); };
  form.Timer4.tick = [&] { timer4Tick(form, st); };
  form.Timer7.tick = [&] { timer7Tick(form, st); };
  form.onStartup = [&] { startup(form, st); };
}

}  // namespace tavrel
