#!/usr/bin/python3
'''tavrel-saver --idle on GNOME's compositor, headless, with fakes of GNOME's
session manager and screen-saver on a session bus of the test's own and of
logind on a private system bus. Mutter's idle monitor brings the pictures;
input through mutter's remote desktop takes them away (a key, the first
pointer motion); the session manager's inhibition keeps them away; logind's
Lock and the screen-saver's ActiveChanged stop them; before sleep they come
down, the lock command runs and the sleep delay is let go.

Whether the module draws is read from its wake-ups: some 30 in half a second
while it draws, none while it waits. Run as root, the test runs itself again
as the user tavrel-saver-test; the buses, the compositor and the module are
its own and end with it.

Usage: saver_gnome_test.py TAVREL_SAVER SESSION_BUS_CONF [TEST...]
'''

import os
import pwd
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import dbus
import dbusmock

MODULE = CONF = None
USER = 'tavrel-saver-test'
MOCK = dbusmock.MOCK_IFACE
MANAGER = ('org.gnome.SessionManager', '/org/gnome/SessionManager', 'org.gnome.SessionManager')
SESSION = '/org/freedesktop/login1/session/c1'


def as_guest():
    '''Root runs the test again as the test user, as the compositor needs.'''
    if os.getuid() != 0:
        return
    subprocess.run(['useradd', '--system', '--create-home', '--shell', '/bin/sh', USER],
                   stderr=subprocess.DEVNULL, check=False)
    gid = pwd.getpwnam(USER).pw_gid
    env = {'PATH': '/usr/local/bin:/usr/bin:/bin', 'HOME': '/tmp'}
    if 'CI' in os.environ:
        env['CI'] = os.environ['CI']
    os.execvpe('setpriv', ['setpriv', f'--reuid={USER}', f'--regid={gid}', '--init-groups',
                           '--pdeathsig', 'KILL', '--', sys.executable] + sys.argv, env)


def wakeups(pid, span):
    def count():
        with open(f'/proc/{pid}/status') as status:
            return next(int(line.split()[1]) for line in status
                        if line.startswith('voluntary_ctxt_switches:'))
    before = count()
    time.sleep(span)
    return count() - before


def busy(pid):
    """The module's time on a CPU, in seconds."""
    with open(f'/proc/{pid}/schedstat') as stat:
        return int(stat.read().split()[0]) / 1e9


def draws_within(pid, limit):
    end = time.monotonic() + limit
    return any(wakeups(pid, 0.25) >= 5 for _ in iter(lambda: time.monotonic() < end, False))


def stops_within(pid, limit):
    end = time.monotonic() + limit
    return any(wakeups(pid, 0.3) <= 1 for _ in iter(lambda: time.monotonic() < end, False))


def waits(pid, span):
    """Asleep but for a few events, and spinning for none."""
    before = busy(pid)
    return wakeups(pid, span) <= 8 and busy(pid) - before < span / 10


class GnomeIdle(dbusmock.DBusTestCase):
    @classmethod
    def setUpClass(cls):
        # Missing, a skip; under CI (CI set), a failure.
        if not shutil.which('mutter'):
            if os.environ.get('CI'):
                raise AssertionError('mutter is not installed')
            raise unittest.SkipTest('mutter is not installed')
        cls.start_system_bus()
        cls.session_bus_pid, address = cls.start_dbus(conf=CONF)
        os.environ['DBUS_SESSION_BUS_ADDRESS'] = address

    @classmethod
    def tearDownClass(cls):
        cls.stop_dbus(cls.session_bus_pid)
        super().tearDownClass()

    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix='tavrel-gnome-')
        self.processes, self.servers = [], []
        self.env = dict(os.environ, XDG_RUNTIME_DIR=self.dir, HOME=self.dir,
                        XDG_STATE_HOME=self.dir + '/state', XDG_CONFIG_HOME=self.dir + '/config',
                        XDG_SESSION_ID='c1', WAYLAND_DISPLAY='wayland-0')
        self.logind = self.mock_template('logind', system_bus=True)
        self.logind.AddMethod('org.freedesktop.login1.Manager', 'GetUser', 'u', 'o',
                              'ret = "/org/freedesktop/login1/user/%u" % args[0]',
                              dbus_interface=MOCK)
        self.logind.AddSession('c1', 'seat0', dbus.UInt32(os.getuid()), USER, True,
                               dbus_interface=MOCK)
        self.manager = self.mock(*MANAGER)
        self.manager.AddMethods('', [
            ('IsInhibited', 'u', 'b', 'ret = bool(getattr(self, "held", 0) & args[0])'),
            ('Hold', 'u', '', 'self.held = args[0]'), ('Setenv', 'ss', '', '')],
            dbus_interface=MOCK)
        self.screensaver = self.mock_template('gnome_screensaver')
        self.start(['mutter', '--headless', '--wayland', '--no-x11', '--virtual-monitor', '800x600'])
        bus = self.get_dbus(False)
        self.wait_for('mutter', lambda: bus.name_has_owner('org.gnome.Mutter.IdleMonitor') and
                      os.path.exists(self.dir + '/wayland-0'))
        desktop = bus.get_object('org.gnome.Mutter.RemoteDesktop', '/org/gnome/Mutter/RemoteDesktop')
        path = dbus.Interface(desktop, 'org.gnome.Mutter.RemoteDesktop').CreateSession()
        self.input = dbus.Interface(bus.get_object('org.gnome.Mutter.RemoteDesktop', path),
                                    'org.gnome.Mutter.RemoteDesktop.Session')
        self.input.Start()

    def tearDown(self):
        # Each in a group of its own, with what it started (a lock command).
        for process in reversed(self.processes):
            try:
                os.killpg(process.pid, signal.SIGTERM)
            except ProcessLookupError:
                pass  # it ended, and what it started with it
            process.wait()
        for server in self.servers:
            server.terminate()
            server.wait()
        shutil.rmtree(self.dir, ignore_errors=True)

    def start(self, command, **kwargs):
        self.processes.append(subprocess.Popen(command, env=self.env, stdin=subprocess.DEVNULL,
                                               stdout=subprocess.DEVNULL, start_new_session=True,
                                               **kwargs))
        return self.processes[-1]

    def mock(self, name, path, iface):
        self.servers.append(self.spawn_server(name, path, iface, stdout=subprocess.DEVNULL))
        return self.get_dbus(False).get_object(name, path)

    def mock_template(self, name, system_bus=False):
        server, obj = self.spawn_server_template(name, stdout=subprocess.DEVNULL,
                                                 system_bus=system_bus)
        self.servers.append(server)
        return obj

    def module(self, *options):
        return self.start([MODULE, '--seed', '8'] + list(options))

    def wait_for(self, what, check, limit=20):
        end = time.monotonic() + limit
        while not check():
            self.assertLess(time.monotonic(), end, 'waited in vain for ' + what)
            time.sleep(0.05)

    def key(self):
        for pressed in (True, False):
            self.input.NotifyKeyboardKeycode(dbus.UInt32(30), pressed)
            time.sleep(0.05)
        return True

    def motion(self):
        self.input.NotifyPointerMotionRelative(7.0, 5.0)
        return True

    def inhibit(self, held, signal_name):
        self.manager.Hold(dbus.UInt32(held))
        self.manager.EmitSignal('', signal_name, 'o',
                                [dbus.ObjectPath('/org/gnome/SessionManager/Inhibitor1')],
                                dbus_interface=MOCK)

    def test_idle_input_and_inhibition(self):
        pid = self.module('--idle', '2').pid
        time.sleep(0.4)  # its start: connections and questions
        self.assertTrue(waits(pid, 1.0), 'pictures before the idle time')
        self.assertTrue(draws_within(pid, 5), 'no pictures after the idle time')
        for what, act in (('a key', self.key), ('the first pointer motion', self.motion)):
            with self.subTest(what):
                act()
                self.assertTrue(stops_within(pid, 2))
                self.assertTrue(waits(pid, 1.0), 'back before the idle time')
                self.assertTrue(draws_within(pid, 5), 'not back after the idle time')
        # The session manager holds idleness back (a video plays).
        self.inhibit(8, 'InhibitorAdded')
        self.key()
        self.assertTrue(stops_within(pid, 2))
        self.assertTrue(waits(pid, 4.0), 'the inhibition was not heeded')
        self.inhibit(0, 'InhibitorRemoved')
        self.assertTrue(draws_within(pid, 3), 'not back, idle still, once the inhibition went')

    def test_by_hand_the_first_motion_ends_it(self):
        # No idle watch here: mutter tells of the pointer's first motion as
        # its entering the pictures, at a place of its own.
        module = self.module('--wayland')
        self.assertTrue(draws_within(module.pid, 4))
        self.motion()
        self.assertEqual(module.wait(timeout=2), 0)

    def test_locks_and_sleep(self):
        noted = self.dir + '/locked'
        pid = self.module('--idle', '1', '--lock-after', '600', '--lock-command',
                          f'date +%s >>{noted}; exec sleep 30').pid
        delays = lambda: [i for i in self.logind.ListInhibitors() if i[0] == 'sleep']
        self.wait_for('the sleep delay', lambda: len(delays()) == 1)
        self.assertTrue(draws_within(pid, 4))
        locks = (
            ("logind's Lock", lambda: self.get_dbus(True).get_object('org.freedesktop.login1', SESSION),
             'org.freedesktop.login1.Session', 'Lock', 'Unlock'),
            ("the screen-saver's ActiveChanged", None, None, True, False),
        )
        for what, session, iface, lock, unlock in locks:
            with self.subTest(what):
                if session:
                    session().EmitSignal(iface, lock, '', [], dbus_interface=MOCK)
                else:
                    self.screensaver.SetActive(lock)
                self.assertTrue(stops_within(pid, 1), 'drawing behind the lock')
                self.motion()
                self.assertTrue(waits(pid, 2.0), 'pictures over the lock')
                if session:
                    session().EmitSignal(iface, unlock, '', [], dbus_interface=MOCK)
                else:
                    self.screensaver.SetActive(unlock)
                self.assertTrue(waits(pid, 2.0), 'pictures after the unlock')
                self.motion()
                self.assertTrue(draws_within(pid, 4))
        # Before sleep: the pictures down, the lock command run, and the delay
        # let go after 3 s, as this locker never says it has the screen.
        self.logind.EmitSignal('org.freedesktop.login1.Manager', 'PrepareForSleep', 'b', [True],
                               dbus_interface=MOCK)
        self.assertTrue(stops_within(pid, 1))
        self.wait_for('the lock command', lambda: os.path.exists(noted), 2)
        time.sleep(1)
        self.assertEqual(len(delays()), 1, 'sleep let go before the locker had 3 s')
        self.wait_for('sleep let go', lambda: not delays(), 5)
        self.logind.EmitSignal('org.freedesktop.login1.Manager', 'PrepareForSleep', 'b', [False],
                               dbus_interface=MOCK)
        self.wait_for('the sleep delay again', lambda: len(delays()) == 1)


if __name__ == '__main__':
    as_guest()
    MODULE, CONF = sys.argv[1], sys.argv[2]
    unittest.main(argv=[sys.argv[0]] + sys.argv[3:])
