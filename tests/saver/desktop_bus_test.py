#!/usr/bin/env python3
'''The module's D-Bus side against fakes of GNOME's compositor and session
manager, the desktop screen-saver and logind, on private buses.

Run under dbus-run-session (the session bus is its own); the system bus is a
private one started here. bus_probe prints what the library reports, one
line each. A row that should give nothing is followed by one that gives a
line, from the same fake, so that the next line read proves nothing came
between.

Usage: dbus-run-session -- desktop_bus_test.py BUS_PROBE [TEST...]
'''

import os
import queue
import subprocess
import sys
import threading
import time
import unittest

import dbus
import dbusmock

PROBE = None
MOCK = dbusmock.MOCK_IFACE
MONITOR = ('org.gnome.Mutter.IdleMonitor', '/org/gnome/Mutter/IdleMonitor/Core',
           'org.gnome.Mutter.IdleMonitor')
MANAGER = ('org.gnome.SessionManager', '/org/gnome/SessionManager', 'org.gnome.SessionManager')
KDE = ('org.freedesktop.ScreenSaver', '/ScreenSaver', 'org.freedesktop.ScreenSaver')
SESSION = '/org/freedesktop/login1/session/'
# Long enough for a loaded machine; a line that is due comes at once.
PATIENCE = 20


class Probe:
    def __init__(self, env=None):
        full = dict(os.environ)
        full.pop('XDG_SESSION_ID', None)
        full.update(env or {})
        self.process = subprocess.Popen([PROBE], env=full, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        self.lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(line.rstrip('\n'))
        self.lines.put(None)

    def next(self):
        try:
            return self.lines.get(timeout=PATIENCE)
        except queue.Empty:
            return '(nothing)'

    def send(self, command):
        self.process.stdin.write(command + '\n')
        self.process.stdin.flush()

    def end(self):
        '''Closes stdin; the lines left before the probe ended, and its status.'''
        self.process.stdin.close()
        status = self.process.wait(timeout=PATIENCE)
        left = []
        while (line := self.lines.get(timeout=PATIENCE)) is not None:
            left.append(line)
        return left, status


class DesktopBusTest(dbusmock.DBusTestCase):
    @classmethod
    def setUpClass(cls):
        cls.start_system_bus()

    def setUp(self):
        self.servers = []
        self.probes = []

    def tearDown(self):
        for probe in self.probes:
            if probe.process.poll() is None:
                probe.process.kill()
                probe.process.wait()
        for server in self.servers:
            server.terminate()
            server.wait()

    def mock(self, name, path, iface, system_bus=False):
        self.servers.append(self.spawn_server(name, path, iface, system_bus=system_bus))
        return self.get_dbus(system_bus).get_object(name, path)

    def template(self, name):
        server, obj = self.spawn_server_template(name, stdout=subprocess.DEVNULL)
        self.servers.append(server)
        return obj

    def monitor(self):
        obj = self.mock(*MONITOR)
        count = 'self.n = getattr(self, "n", 0) + 1; ret = self.n'
        obj.AddMethods('', [('AddIdleWatch', 't', 'u', count), ('AddUserActiveWatch', '', 'u', count),
                            ('RemoveWatch', 'u', '', ''), ('GetIdletime', '', 't', 'ret = 0')],
                       dbus_interface=MOCK)
        return obj

    def manager(self):
        obj = self.mock(*MANAGER)
        obj.AddMethods('', [('IsInhibited', 'u', 'b', 'ret = bool(getattr(self, "held", 0) & args[0])'),
                            ('Hold', 'u', '', 'self.held = args[0]')], dbus_interface=MOCK)
        return obj

    def logind(self, *sessions):
        obj = self.template('logind')
        # The template's own GetUser adds a number to a string.
        obj.AddMethod('org.freedesktop.login1.Manager', 'GetUser', 'u', 'o',
                      'ret = "/org/freedesktop/login1/user/%u" % args[0]', dbus_interface=MOCK)
        for session in sessions:
            obj.AddSession(session, 'seat0', dbus.UInt32(os.getuid()), 'tester', True,
                           dbus_interface=MOCK)
        return obj

    def probe(self, expect, env=None):
        probe = Probe(env)
        self.probes.append(probe)
        for line in expect:
            self.assertEqual(probe.next(), line)
        return probe

    def wait_for(self, what, check):
        end = time.monotonic() + PATIENCE
        while not check():
            self.assertLess(time.monotonic(), end, 'waited in vain for ' + what)
            time.sleep(0.05)

    def calls(self, obj, method):
        return [list(args) for _, args in obj.GetMethodCalls(method, dbus_interface=MOCK)]

    def run_rows(self, probe, rows):
        for what, act, line in rows:
            with self.subTest(what):
                act()
                if line is not None:
                    self.assertEqual(probe.next(), line, what)

    def test_idle_watch(self):
        monitor = self.monitor()
        self.logind('c1')
        probe = self.probe(['monitor yes', 'logind yes', 'ready'], {'XDG_SESSION_ID': 'c1'})

        def fire(*ids):
            for watch in ids:
                monitor.EmitSignal('', 'WatchFired', 'u', [dbus.UInt32(watch)], dbus_interface=MOCK)

        def armed(count):
            return lambda: self.wait_for(f'{count} input watches',
                                         lambda: len(self.calls(monitor, 'AddUserActiveWatch')) == count)

        # Watch ids count up from 1 in the order asked: idle 1, input 2, 3, idle 4, input 5.
        self.run_rows(probe, [
            ('the idle watch is asked for', lambda: probe.send('watch 2000'), 'watching'),
            ('... with the time given', lambda: self.assertEqual(self.calls(monitor, 'AddIdleWatch'), [[2000]]), None),
            ('idle', lambda: fire(1), 'idle'),
            ('an input watch follows idle', armed(1), None),
            ('idle again before input', lambda: fire(1), 'idle'),
            ('a watch of someone else is nothing', lambda: fire(77, 2), 'active'),
            ('the input watch fired once is gone', lambda: fire(2, 1), 'idle'),
            ('idle again arms a new input watch', armed(2), None),
            ('input', lambda: fire(3), 'active'),
            ('a new idle time replaces the watch', lambda: probe.send('watch 3000'), 'watching'),
            ('... removing the old one', lambda: self.assertEqual(self.calls(monitor, 'RemoveWatch'), [[1]]), None),
            ('the old watch is nothing', lambda: fire(1, 4), 'idle'),
            # Its answer to the input watch is sent before the answer to ours.
            ('the third input watch', lambda: (armed(3)(), monitor.GetIdletime()), None),
            ('the monitor leaves the bus', lambda: self.servers[0].terminate(), 'idle-monitor-gone'),
        ])
        self.assertEqual(probe.end(), ([], 0))

    def test_session_manager_inhibition(self):
        self.monitor()
        manager = self.manager()
        self.logind('c1')
        env = {'XDG_SESSION_ID': 'c1'}
        probe = self.probe(['monitor yes', 'logind yes', 'ready'], env)

        def change(held, signal='InhibitorAdded'):
            def act():
                before = len(self.calls(manager, 'IsInhibited'))
                manager.Hold(dbus.UInt32(held))
                manager.EmitSignal('', signal, 'o', [dbus.ObjectPath('/org/gnome/SessionManager/Inhibitor1')],
                                   dbus_interface=MOCK)
                # The answer is on its way before anything the fake sends next.
                self.wait_for('the question', lambda: len(self.calls(manager, 'IsInhibited')) > before)
            return act

        self.run_rows(probe, [
            ('an idle inhibitor', change(8), 'inhibited'),
            ('the question is about idleness', lambda: self.assertEqual(self.calls(manager, 'IsInhibited')[-1], [8]), None),
            ('another, still held: nothing', lambda: (change(8)(), change(0, 'InhibitorRemoved')()), 'not-inhibited'),
            ('a suspend inhibitor alone is nothing', lambda: (change(4)(), change(12)()), 'inhibited'),
            ('all gone', change(0, 'InhibitorRemoved'), 'not-inhibited'),
        ])
        manager.Hold(dbus.UInt32(8))
        self.probe(['monitor yes', 'logind yes', 'ready', 'inhibited'], env)

    def test_sleep_and_delay(self):
        logind = self.logind('c1')
        probe = self.probe(['monitor no', 'logind yes', 'ready'], {'XDG_SESSION_ID': 'c1'})

        def inhibitors(count):
            def check():
                self.wait_for(f'{count} inhibitors',
                              lambda: len(logind.ListInhibitors(dbus_interface='org.freedesktop.login1.Manager')) == count)
            return check

        def sleep(going):
            return lambda: logind.EmitSignal('org.freedesktop.login1.Manager', 'PrepareForSleep', 'b', [going],
                                             dbus_interface=MOCK)

        self.run_rows(probe, [
            ('the delay is taken', lambda: probe.send('take'), 'delay held'),
            ('... for sleep, as a delay', lambda: self.assertEqual(
                [list(i[:2]) + [i[3]] for i in logind.ListInhibitors(dbus_interface='org.freedesktop.login1.Manager')],
                [['sleep', 'tavrel-saver', 'delay']]), None),
            ('taken again: nothing', lambda: (probe.send('take'), sleep(True)()), 'sleep'),
            ('... still one', inhibitors(1), None),
            ('released', lambda: probe.send('release'), 'delay released'),
            ('... logind sees it go', inhibitors(0), None),
            ('woken', sleep(False), 'wake'),
            ('taken anew', lambda: probe.send('take'), 'delay held'),
            ('released', lambda: probe.send('release'), 'delay released'),
            ('released before it came', lambda: probe.send('take\nrelease'), None),
            ('... leaves none behind', inhibitors(0), None),
            ('taken after that', lambda: probe.send('take'), 'delay held'),
            ('... just one', inhibitors(1), None),
        ])
        self.assertEqual(probe.end(), ([], 0))
        self.run_rows(probe, [('gone with the module', inhibitors(0), None)])

    def test_lock_of_this_session(self):
        logind = self.logind('c1', 'c2')
        bus = self.get_dbus(system_bus=True)

        def lock(session, member='Lock'):
            return lambda: bus.get_object('org.freedesktop.login1', SESSION + session).get_dbus_method(
                member, 'org.freedesktop.login1.Session')()

        probe = self.probe(['monitor no', 'logind yes', 'ready'], {'XDG_SESSION_ID': 'c1'})
        self.run_rows(probe, [
            ('lock', lock('c1'), 'lock'),
            ('unlock', lock('c1', 'Unlock'), 'unlock'),
            ('another session is nothing', lambda: (lock('c2')(), lock('c1')()), 'lock'),
        ])
        # A user service has no session of its own: the user's display session counts.
        user = bus.get_object('org.freedesktop.login1', f'/org/freedesktop/login1/user/{os.getuid()}')
        user.Set('org.freedesktop.login1.User', 'Display',
                 dbus.Struct(('c2', dbus.ObjectPath(SESSION + 'c2')), signature='so'),
                 dbus_interface=dbus.PROPERTIES_IFACE)
        probe = self.probe(['monitor no', 'logind yes', 'ready'])
        self.run_rows(probe, [('the display session', lambda: (lock('c1')(), lock('c2')()), 'lock')])
        self.assertEqual(probe.end(), ([], 0))

        # Whose lock cannot be known: one line, and the rest goes on.
        user.Set('org.freedesktop.login1.User', 'Display',
                 dbus.Struct(('', dbus.ObjectPath('/')), signature='so'), dbus_interface=dbus.PROPERTIES_IFACE)
        logind.AddMethod('org.freedesktop.login1.Manager', 'GetSession', 's', 'o',
                         'raise dbus.exceptions.DBusException("No session " + args[0] + "\\nat\\tall",'
                         ' name="org.freedesktop.login1.NoSuchSession")', dbus_interface=MOCK)
        for what, env, warning in [
                ('no display session', {}, 'logind knows no display session of this user'),
                ('an unknown session, in two lines', {'XDG_SESSION_ID': 'c9'}, 'logind knows no session c9 (No session c9)')]:
            with self.subTest(what):
                probe = self.probe(['monitor no', 'logind yes', 'ready',
                                    f'warning: {warning}: lock is not watched'], env)
                probe.send('take')
                self.assertEqual(probe.next(), 'delay held')

    def test_desktop_screensaver(self):
        gnome = self.template('gnome_screensaver')
        kde = self.mock(*KDE)
        kde.AddObject('/org/freedesktop/ScreenSaver', KDE[2], {}, [], dbus_interface=MOCK)
        paths = [kde, self.get_dbus().get_object(KDE[0], '/org/freedesktop/ScreenSaver')]

        def both(active):
            def act():
                for obj in paths:
                    obj.EmitSignal('', 'ActiveChanged', 'b', [active], dbus_interface=MOCK)
            return act

        self.logind('c1')
        probe = self.probe(['monitor no', 'logind yes', 'ready'], {'XDG_SESSION_ID': 'c1'})
        self.run_rows(probe, [
            ('GNOME shows its own', lambda: gnome.SetActive(True), 'screensaver-active'),
            ('said again: nothing', lambda: (gnome.SetActive(True), gnome.SetActive(False)), 'screensaver-inactive'),
            ('KDE, from both its paths, once', both(True), 'screensaver-active'),
            ('... and away once', both(False), 'screensaver-inactive'),
        ])
        # More than the library reads at a time: every one comes, in order.
        for _ in range(100):
            gnome.SetActive(True)
            gnome.SetActive(False)
        self.assertEqual([probe.next() for _ in range(200)], ['screensaver-active', 'screensaver-inactive'] * 100)
        self.assertEqual(probe.end(), ([], 0))

    def test_without_buses(self):
        cases = [
            ('no bus at all', {'DBUS_SESSION_BUS_ADDRESS': 'unix:path=/nonexistent/bus',
                               'DBUS_SYSTEM_BUS_ADDRESS': 'unix:path=/nonexistent/bus'},
             ['monitor no', 'logind no', 'ready',
              'warning: no session bus (No such file or directory): GNOME\'s idle monitor and session '
              'manager and the desktop\'s screen-saver are not watched',
              'warning: no system bus (No such file or directory): sleep and lock are not watched',
              'warning: GNOME\'s idle monitor is not on the session bus']),
            ('a system bus without logind', {},
             ['monitor no', 'logind no', 'ready',
              'warning: no logind on the system bus: sleep and lock are not watched',
              'warning: GNOME\'s idle monitor is not on the session bus']),
        ]
        for what, env, lines in cases:
            with self.subTest(what):
                probe = Probe(env)
                self.probes.append(probe)
                probe.send('watch 1000')
                probe.send('take')
                probe.send('release')
                self.assertEqual(probe.end(), (lines, 0))

    def test_session_bus_closes(self):
        pid, address = self.start_dbus()
        self.addCleanup(self.stop_dbus, pid)
        own = os.environ['DBUS_SESSION_BUS_ADDRESS']
        os.environ['DBUS_SESSION_BUS_ADDRESS'] = address
        try:
            self.monitor()
            self.logind('c1')
            probe = self.probe(['monitor yes', 'logind yes', 'ready'], {'XDG_SESSION_ID': 'c1'})
            self.run_rows(probe, [('watching', lambda: probe.send('watch 1000'), 'watching')])
            # The monitor may be seen leaving before the bus is seen closing, or with it.
            self.stop_dbus(pid)
            self.assertEqual(sorted([probe.next(), probe.next()]),
                             ['idle-monitor-gone', 'warning: the session bus closed'])
            self.assertEqual(probe.end(), ([], 0))
        finally:
            os.environ['DBUS_SESSION_BUS_ADDRESS'] = own


if __name__ == '__main__':
    PROBE = sys.argv.pop(1)
    unittest.main(verbosity=2)
