"""An install-attribution and analytics tracker.

    import fliprugair

    with fliprugair.App(bundle_identifier="com.example.app", version="1") as app:
        tracker = app.start("demo", host="127.0.0.1:8080")
        app.activate()
        tracker.track("level", 7)
        if waiting := app.wait_until_sent(10):
            print("still to be sent:", waiting)

The end of the `with` block sends what is being sent, for five seconds at most. The shared library is looked for as
the system looks for libraries; FLIPRUGAIR_LIBRARY names another file.
"""

import ctypes
import json
import os
import re
import typing

__all__ = ["App", "Error", "Tracker", "Waiting", "erase", "version"]

_LOG = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_char_p)
_TASK = ctypes.CFUNCTYPE(None, ctypes.c_void_p)
_QUESTION = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_void_p)


class _Callbacks(ctypes.Structure):
    _fields_ = [("user", ctypes.c_void_p), ("log", _LOG), ("attribution", _LOG), ("search_ads", _QUESTION)]


class _Waiting(ctypes.Structure):
    _fields_ = [
        ("install_report", ctypes.c_int),
        ("records", ctypes.c_size_t),
        ("requests", ctypes.c_size_t),
        ("bytes", ctypes.c_size_t),
        ("oldest", ctypes.c_double),
    ]


class Waiting(typing.NamedTuple):
    """What the control host has not confirmed yet; false when nothing waits."""

    install_report: bool  # the installation has not been reported; no records leave before that
    records: int  # events, sessions, positions that no request carries yet
    requests: int  # made, and not confirmed
    bytes: int  # of records and requests as JSON text
    oldest: float  # when the oldest of them was made, in seconds since 1970; 0 when there are none

    def __bool__(self):
        return self.install_report or self.records > 0 or self.requests > 0


def _load():
    library = ctypes.CDLL(os.environ.get("FLIPRUGAIR_LIBRARY", "libfliprugair.so.0.1"))
    text, pointer = ctypes.c_char_p, ctypes.c_void_p
    error = ctypes.POINTER(ctypes.c_void_p)
    status = ctypes.c_int
    functions = {
        "version": (text, []),
        "free": (None, [pointer]),
        "open": (pointer, [text, ctypes.POINTER(_Callbacks), error]),
        "close": (None, [pointer]),
        "stop_for_good": (status, [pointer, error]),
        "erase": (status, [text, error]),
        "wait_until_sent": (status, [pointer, ctypes.c_double, ctypes.POINTER(_Waiting), error]),
        "what_waits": (status, [pointer, ctypes.POINTER(_Waiting), error]),
        "did_finish_launching": (status, [pointer, error]),
        "did_become_active": (status, [pointer, error]),
        "will_resign_active": (status, [pointer, error]),
        "set_facts": (status, [pointer, text, error]),
        "on_main": (status, [pointer, _TASK, pointer, error]),
        "run": (status, [pointer, error]),
        "stop": (status, [pointer, error]),
        "file_descriptor": (ctypes.c_int, [pointer, error]),
        "wait_milliseconds": (ctypes.c_int, [pointer, error]),
        "poll": (status, [pointer, error]),
        "start": (pointer, [pointer, text, error]),
        "track_event": (status, [pointer, text, text, error]),
        "track_marked_event": (status, [pointer, text, text, ctypes.c_int, error]),
        "track_standard_event": (status, [pointer, text, text, error]),
        "track_purchase": (status, [pointer, text, text, text, error]),
        "track_spatial_event": (status, [pointer, text] + [ctypes.c_float] * 3 + [error]),
        "identity_link": (status, [pointer, text, error]),
        "deep_link": (status, [pointer, text, text, error]),
        "limit_ad_tracking": (status, [pointer, ctypes.c_int, error]),
        "enable_logging": (status, [pointer, ctypes.c_int, error]),
        "handle_watch_events": (status, [pointer, text, ctypes.c_int, error]),
        "track_watch_event": (status, [pointer, text, text, error]),
        "set_custom_id": (status, [pointer, text, error]),
        "custom_id": (pointer, [pointer, error]),
        "attribution": (pointer, [pointer, error]),
        "answer_search_ads": (status, [pointer, text, ctypes.c_int, error]),
    }
    for name, (result, arguments) in functions.items():
        function = getattr(library, "fliprugair_" + name)
        function.restype, function.argtypes = result, arguments
    return library


_library = _load()


class Error(Exception):
    """What the library refused or could not do; its text says why."""


def version():
    """The version of the library, as "0.1.0"."""
    return _library.fliprugair_version().decode()


def _take(address):
    """The text at an address that the library gave, freed; None for a null pointer."""
    if not address:
        return None
    text = ctypes.string_at(address).decode()
    _library.fliprugair_free(address)
    return text


def _call(name, *arguments):
    """Calls a function that may fail, and raises what it says."""
    error = ctypes.c_void_p()
    result = getattr(_library, "fliprugair_" + name)(*arguments, ctypes.byref(error))
    reason = _take(error.value)
    if reason is not None:
        raise Error(_spelled(reason))
    return result


def _text(value):
    """Text as C takes it, which ends at a null character."""
    if not isinstance(value, str):
        raise TypeError(f"a text is needed, not {value!r}")
    if "\0" in value:
        raise Error(f"{value!r} has a null character in it")
    return value.encode()


def _optional_text(value):
    """None stands for a null pointer; anything else for its text."""
    return None if value is None else _text(str(value))


def _camel(name):
    first, *rest = name.split("_")
    return first + "".join(word.capitalize() for word in rest)


def _camel_keys(values):
    return {_camel(key): value for key, value in values.items()}


def _spelled(reason):
    """What is wrong with an option, in the words in which Python gives it."""
    if not reason.startswith(("option ", "a tracker needs ")):
        return reason
    reason = re.sub(r"\b[a-z]+(?:[A-Z][a-z]*)+\b", lambda name: re.sub(r"(?=[A-Z])", "_", name[0]).lower(), reason)
    for of_c, of_python in [
        ("is an object", "is a dictionary"),
        ("is true or false", "is True or False"),
        ('"marlune_app_id"', '"app_id"'),
    ]:
        reason = reason.replace(of_c, of_python)
    return reason


def _options(values):
    for key in ("durability", "unreadable_store"):
        if isinstance(values.get(key), str):
            values = {**values, key: _camel(values[key])}
    if isinstance(values.get("facts"), dict):
        values = {**values, "facts": _camel_keys(values["facts"])}
    return json.dumps(_camel_keys(values)).encode()


def erase(**options):
    """Erases all that is stored for an app with these options, while none uses that store."""
    _call("erase", _options(options))


def _plain(waiting):
    values = {name: getattr(waiting, name) for name, _ in _Waiting._fields_}
    return Waiting(**{**values, "install_report": bool(waiting.install_report)})


class _SearchAds:
    """Asks a function whether a search ad led to the installation, and answers once for each question."""

    def __init__(self, ask):
        self._ask = ask

    def __call__(self, _, question):
        pending = [question]

        def answer(details=None, *, unknown=False):
            if details is not None and not isinstance(details, dict):
                raise Error("the details are a dictionary, or None")
            text = None if details is None else json.dumps(details).encode()
            try:
                _call("answer_search_ads", pending.pop(), text, int(unknown))
            except IndexError:
                raise Error("this question has been answered") from None

        try:
            self._ask(answer)
        except BaseException:
            if pending:
                answer()
            raise


class App:
    """The application: its store, its network, its life. One for each store.

    Options are those of the C interface in Python's spelling: bundle_identifier, version, store_path,
    durability="power_cut", facts={"system_name": ...}, ...
    `log` takes each diagnostic line, on any thread; `on_attribution` the attribution result, a dictionary, on the
    network thread. `search_ads` is asked whether a search ad led to the installation: it is called with a function that it
    calls once, then or later, with the details, a dictionary, or None, and unknown=True when they are not known yet. All
    must be quick.

    With main_thread="host" the program's own loop drives the app: it selects on the app, which has a fileno(), for
    `next_wait` seconds at the most, and calls poll(). Or it gives run() a thread.
    """

    def __init__(self, *, log=None, on_attribution=None, search_ads=None, **options):
        self._callbacks = _Callbacks(
            None,
            _LOG(lambda _, line: log(line.decode())) if log else _LOG(),
            _LOG(lambda _, text: on_attribution(json.loads(text))) if on_attribution else _LOG(),
            _QUESTION(_SearchAds(search_ads)) if search_ads else _QUESTION(),
        )
        self._handle = _call("open", _options(options), ctypes.byref(self._callbacks))

    def start(self, app_id=None, *, host=None, **options):
        """Starts a tracker. Options are those of MarluneTracker: retrieve_attribution, currency, ... Without an app_id
        partner_id and partner_name are needed."""
        if app_id is not None:
            options["marlune_app_id"] = app_id
        if host is not None:
            options["tracker_hostname"] = host
        return Tracker(self, _call("start", self._open(), _options(options)))

    def activate(self):
        """The app has come to the foreground, for the first time or again."""
        _call("did_become_active", self._open())

    def launch(self):
        """The app has finished launching."""
        _call("did_finish_launching", self._open())

    def resign(self):
        """The app goes to the background: what waits is sent."""
        _call("will_resign_active", self._open())

    def wait_until_sent(self, timeout):
        """For a program that ends soon: has everything sent, waits for the host's answers for `timeout` seconds at the
        most, and says what waits by then."""
        waiting = _Waiting()
        _call("wait_until_sent", self._open(), timeout, ctypes.byref(waiting))
        return _plain(waiting)

    @property
    def waiting(self):
        """What waits now."""
        waiting = _Waiting()
        _call("what_waits", self._open(), ctypes.byref(waiting))
        return _plain(waiting)

    def set_facts(self, **facts):
        """Replaces what the app states about the device: system_name, user_agent, ..."""
        _call("set_facts", self._open(), json.dumps(_camel_keys(facts)).encode())

    def on_main(self, task):
        """Runs a function on the main thread, waits for its end, and gives what it returns or raises."""
        outcome = []

        def run(_):
            try:
                outcome.append((task(), None))
            except BaseException as raised:
                outcome.append((None, raised))

        _call("on_main", self._open(), _TASK(run), None)
        result, raised = outcome[0]
        if raised is not None:
            raise raised
        return result

    def run(self):
        """Turns the main queue on this thread until stop() is called, on any. main_thread="host" alone, as what follows."""
        _call("run", self._open())

    def stop(self):
        """Ends run()."""
        _call("stop", self._open())

    def fileno(self):
        """Becomes readable when there is something for poll() to do."""
        return _call("file_descriptor", self._open())

    @property
    def next_wait(self):
        """For how many seconds to select at the most, asked anew each time; None when nothing is due."""
        wait = _call("wait_milliseconds", self._open())
        return None if wait < 0 else wait / 1000

    def poll(self):
        """Does what is due, and returns."""
        _call("poll", self._open())

    def stop_for_good(self):
        """For a user who takes their consent back: ends the app and its trackers at once, sends nothing more, and erases
        all that is stored."""
        handle, self._handle = self._open(), None
        _call("stop_for_good", handle)

    def close(self):
        """Ends the app and its trackers."""
        handle, self._handle = self._handle, None
        if handle:
            _library.fliprugair_close(handle)

    def _open(self):
        if not self._handle:
            raise Error("the app is closed")
        return self._handle

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


class Tracker:
    """Reports what happens in the app. Any thread, until the app is closed."""

    def __init__(self, app, handle):
        self._app = app
        self._handle = handle

    def _tracker(self):
        self._app._open()
        return self._handle

    def track(self, title, value=None, *, receipt=None, standard=None):
        """An event; with a receipt, a purchase; with `standard`, marked as a standard event or not. The value may be
        anything that has a text."""
        if receipt is not None:
            text = _text("" if value is None else str(value))
            _call("track_purchase", self._tracker(), _text(title), text, _text(receipt))
        elif standard is not None:
            _call("track_marked_event", self._tracker(), _text(title), _optional_text(value), int(standard))
        else:
            _call("track_event", self._tracker(), _text(title), _optional_text(value))

    def track_standard(self, name, data=None):
        """A standard event by its name, with a dictionary."""
        _call("track_standard_event", self._tracker(), _text(name), None if data is None else json.dumps(data).encode())

    def track_at(self, title, x, y, z):
        """An event at a place."""
        _call("track_spatial_event", self._tracker(), _text(title), x, y, z)

    def link_identity(self, **identities):
        """Links the device to identities that the app knows."""
        _call("identity_link", self._tracker(), json.dumps(identities).encode())

    def deep_link(self, url, source_application):
        """The URL that the app was opened with, and who opened it."""
        _call("deep_link", self._tracker(), _text(url), _text(source_application))

    def limit_ad_tracking(self, limited=True):
        """The user's choice inside the app."""
        _call("limit_ad_tracking", self._tracker(), int(limited))

    def enable_logging(self, enabled=True):
        """Diagnostic lines, for every tracker of the app."""
        _call("enable_logging", self._tracker(), int(enabled))

    def handle_watch(self, link=None, *, by_event=False):
        """A paired watch was seen; each link is reported once. `by_event`: an event of the watch has shown it."""
        _call("handle_watch_events", self._tracker(), _optional_text(link), int(by_event))

    def track_watch(self, title, value=None):
        """An event that happened on the watch; the first one also reports a pairing."""
        _call("track_watch_event", self._tracker(), _text(title), _optional_text(value))

    @property
    def custom_id(self):
        """The app's own identifier, reported with the installation; None for none."""
        return _take(_call("custom_id", self._tracker()))

    @custom_id.setter
    def custom_id(self, value):
        _call("set_custom_id", self._tracker(), _optional_text(value))

    @property
    def attribution(self):
        """The stored attribution result, a dictionary; None while there is none."""
        text = _take(_call("attribution", self._tracker()))
        return None if text is None else json.loads(text)
