"""The module for Python: what waits, ends and is erased, and what is refused. That events reach a host through it,
examples/python shows. FLIPRUGAIR_LIBRARY or the system's path of libraries finds the library."""

import http.server
import json
import pathlib
import select
import tempfile
import threading
import time
import unittest

import fliprugair


class Module(unittest.TestCase):
    """An app whose host cannot be reached: nobody listens at port 1 of this machine."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.options = {"store_path": str(self.folder / "store.sqlite"), "background_task_time": 0}
        self.lines = []

    def open(self):
        return self.started(fliprugair.App(log=self.lines.append, **self.options))

    def started(self, app, host="127.0.0.1:1"):
        self.addCleanup(app.close)
        return app, app.start("demo", host=host)

    def recorded(self):
        """The data of the record that was reported last, from the log."""
        line = [line for line in self.lines if "appending: " in line][-1]
        return json.loads(line.partition("appending: ")[2])["data"]

    def stored(self):
        return sorted(path.name for path in self.folder.iterdir())

    def test_says_what_waits(self):
        app, tracker = self.open()
        self.assertTrue(app.waiting, "the installation is to be reported")
        self.assertEqual(app.waiting._replace(bytes=0), fliprugair.Waiting(True, 0, 0, 0, 0.0))
        before = time.time()
        tracker.track("level", 7)
        waiting = app.waiting
        self.assertEqual((waiting.install_report, waiting.records, waiting.requests), (True, 1, 0))
        self.assertGreater(waiting.bytes, 100)
        self.assertAlmostEqual(waiting.oldest, before, delta=2)

    def test_what_waits_is_false_when_nothing_does(self):
        self.assertFalse(fliprugair.Waiting(False, 0, 0, 0, 0.0))
        for waiting in [(True, 0, 0), (False, 1, 0), (False, 0, 1)]:
            self.assertTrue(fliprugair.Waiting(*waiting, 0, 0.0), waiting)

    def test_waits_until_the_time_is_over_and_says_what_is_left(self):
        app, tracker = self.open()
        app.activate()
        tracker.track("level", 7)
        self.assertEqual(app.wait_until_sent(0.05)[:2], (True, 1))

    def test_refuses_a_time_that_is_none(self):
        app, _ = self.open()
        for timeout in (-1, 1e9, float("nan")):
            with self.assertRaisesRegex(fliprugair.Error, "timeout is from 0 to 86400 seconds"):
                app.wait_until_sent(timeout)

    def test_erases_what_an_app_has_stored(self):
        app, _ = self.open()
        app.close()
        self.assertIn("store.sqlite", self.stored())
        fliprugair.erase(**self.options)
        self.assertEqual(self.stored(), [])
        fliprugair.erase(**self.options)

    def test_erases_nothing_while_an_app_uses_the_store(self):
        self.open()
        before = self.stored()
        with self.assertRaises(fliprugair.Error):
            fliprugair.erase(**self.options)
        self.assertEqual(self.stored(), before)

    def test_stops_for_good_and_leaves_nothing(self):
        app, tracker = self.open()
        tracker.track("level", 7)
        app.stop_for_good()
        self.assertEqual(self.stored(), [])
        with self.assertRaisesRegex(fliprugair.Error, "the app is closed"):
            tracker.track("level", 8)
        with self.assertRaisesRegex(fliprugair.Error, "the app is closed"):
            app.stop_for_good()
        app.close()

    def test_a_closed_app_refuses_every_call(self):
        app, tracker = self.open()
        with app:
            pass
        calls = [app.activate, app.launch, app.resign, lambda: app.waiting, lambda: app.wait_until_sent(0)]
        calls += [app.run, app.stop, app.poll, app.fileno, lambda: app.next_wait, app.set_facts, lambda: app.on_main(print)]
        calls += [lambda: tracker.custom_id, tracker.handle_watch, lambda: tracker.track_standard("Purchase")]
        calls += [lambda: tracker.attribution, tracker.limit_ad_tracking, lambda: tracker.link_identity(user="1")]
        for call in calls:
            with self.assertRaisesRegex(fliprugair.Error, "the app is closed"):
                call()

    def test_names_an_option_that_there_is_not(self):
        with self.assertRaisesRegex(fliprugair.Error, 'option "store_paht" is not known; there are bundle_identifier, '):
            fliprugair.App(store_paht="x")
        with self.assertRaisesRegex(fliprugair.Error, 'option "store_paht" is not known'):
            fliprugair.erase(store_paht="x")
        app, _ = self.open()
        app.start("demo", hots="127.0.0.1:1")
        self.assertEqual([line for line in self.lines if 'there is no option "hots"' in line], self.lines[-1:])

    def test_takes_facts_in_its_own_spelling(self):
        with self.assertRaisesRegex(fliprugair.Error, 'option "system_version" is a text'):
            fliprugair.App(facts={"system_version": 12}, **self.options)
        fliprugair.App(facts={"system_version": "12"}, **self.options).close()

    def test_refuses_options_in_the_words_of_python(self):
        for options, refusal in [
            ({"requests_at_a_time": 9}, 'option "requests_at_a_time" is a whole number from 1 to 8'),
            ({"facts": 1}, 'option "facts" is a dictionary'),
            ({"advises": 1}, 'option "advises" is True or False'),
            ({"durability": "luck"}, 'option "durability" is "process" or "power_cut"'),
        ]:
            with self.assertRaises(fliprugair.Error) as refused:
                fliprugair.App(**{**self.options, **options})
            self.assertEqual(str(refused.exception), refusal)

    def test_says_that_the_store_has_no_place(self):
        with self.assertRaisesRegex(fliprugair.Error, "give a bundle identifier, or the store's path"):
            fliprugair.App(version="1")

    def test_keeps_a_path_as_it_was_given(self):
        path = str(self.folder / "inMyOwnSpelling" / "\u00e4")
        (self.folder / "inMyOwnSpelling").write_text("no folder")
        with self.assertRaisesRegex(fliprugair.Error, "inMyOwnSpelling"):
            fliprugair.App(**dict(self.options, store_path=path))

    def test_refuses_text_that_c_would_cut_off(self):
        app, tracker = self.open()
        calls = [lambda: tracker.track("a\0b"), lambda: tracker.track("a", "b\0"), lambda: tracker.deep_link("\0", "a")]
        calls += [lambda: tracker.track("a", receipt="\0"), lambda: tracker.track_at("\0", 1, 2, 3)]
        for call in calls:
            with self.assertRaisesRegex(fliprugair.Error, "null character"):
                call()
        self.assertEqual(app.waiting.records, 0)

    def test_says_what_is_no_text(self):
        app, tracker = self.open()
        for call in [lambda: tracker.track(None), lambda: tracker.track(5), lambda: tracker.deep_link(b"x", "a")]:
            with self.assertRaisesRegex(TypeError, "a text is needed, not (None|5|b'x')"):
                call()
        self.assertEqual(app.waiting.records, 0)

    def test_records_events_of_every_kind(self):
        _, tracker = self.open()
        tracker.enable_logging()
        tracker.track("level", 7)
        self.assertEqual((self.recorded()["event_name"], self.recorded()["event_data"]), ("level", "7"))
        tracker.track("level")
        self.assertNotIn("event_data", self.recorded())
        tracker.track("book", "4.99", receipt="cmVjZWlwdA==")
        self.assertEqual(self.recorded()["receipt"], "cmVjZWlwdA==")
        tracker.track("level", 7, standard=True)
        self.assertEqual(self.recorded()["event_standard"], 1)
        tracker.track("level", standard=False)
        self.assertNotIn("event_standard", self.recorded())
        tracker.track_standard("Purchase", {"price": "4.99"})
        self.assertEqual(self.recorded()["event_name"], "Purchase")
        self.assertEqual(json.loads(self.recorded()["event_data"]), {"price": "4.99"})
        self.assertEqual(self.recorded()["event_standard"], 1)

    def test_keeps_what_a_watch_reports_until_the_host_has_answered(self):
        app, tracker = self.open()
        before = self.stored()
        tracker.handle_watch("link")
        tracker.handle_watch(by_event=True)
        tracker.track_watch("lap", 3)
        tracker.track_watch("lap")
        self.assertEqual((app.waiting.records, self.stored()), (0, before))

    def test_gives_the_custom_identifier_back(self):
        _, tracker = self.open()
        self.assertIsNone(tracker.custom_id)
        tracker.custom_id = "customer 7"
        self.assertEqual(tracker.custom_id, "customer 7")
        tracker.custom_id = None
        self.assertIsNone(tracker.custom_id)

    def test_runs_a_task_on_the_main_thread_and_gives_what_came_of_it(self):
        app, _ = self.open()
        app.activate()
        self.assertNotEqual(app.on_main(threading.get_ident), threading.get_ident())
        with self.assertRaises(ZeroDivisionError):
            app.on_main(lambda: 1 / 0)

    def test_is_turned_by_a_loop_of_the_programs_own(self):
        app, _ = self.started(fliprugair.App(log=self.lines.append, main_thread="host", **self.options))
        ran = []
        other = threading.Thread(target=lambda: app.on_main(lambda: ran.append(threading.get_ident())))
        other.start()
        while not ran:
            select.select([app], [], [], app.next_wait)
            app.poll()
        other.join()
        self.assertEqual(ran, [threading.get_ident()])

    def test_runs_on_a_thread_of_the_programs_own(self):
        app, _ = self.started(fliprugair.App(log=self.lines.append, main_thread="host", **self.options))
        ran = []
        other = threading.Thread(target=lambda: (app.on_main(lambda: ran.append(threading.get_ident())), app.stop()))
        other.start()
        app.run()
        other.join()
        self.assertEqual(ran, [threading.get_ident()])

    def test_replaces_what_the_app_states_about_the_device(self):
        app, _ = self.open()
        app.set_facts(system_name="Example", preferred_languages=["fi"], screen={"width": 1, "height": 2, "brightness": 1})
        with self.assertRaisesRegex(fliprugair.Error, 'option "system_name" is a text'):
            app.set_facts(system_name=1)

    def test_takes_what_the_store_survives(self):
        options = dict(self.options, durability="power_cut", unreadable_store="is_joined")
        fliprugair.App(**options).close()
        fliprugair.App(**dict(self.options, durability="process")).close()

    def test_asks_about_search_ads_and_takes_one_answer(self):
        class Host(http.server.BaseHTTPRequestHandler):
            def do_POST(self):
                self.rfile.read(int(self.headers["Content-Length"]))
                self.send_response(200)
                self.end_headers()
                self.wfile.write(b'{"success": 1}')

            def log_message(self, *_):
                pass

        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Host)
        threading.Thread(target=server.serve_forever).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        asked = threading.Event()
        said = []

        def ask(answer):
            for details in ([], {"campaign": "autumn"}, None):
                try:
                    said.append(answer(details))
                except fliprugair.Error as refused:
                    said.append(str(refused))
            asked.set()

        app, _ = self.started(
            fliprugair.App(log=self.lines.append, search_ads=ask, facts={"system_version": "9"}, **self.options),
            host=f"127.0.0.1:{server.server_port}",
        )
        app.activate()
        self.assertTrue(asked.wait(60))
        self.assertEqual(said[:3], ["the details are a dictionary, or None", None, "this question has been answered"])

    def test_takes_a_partner_in_place_of_an_application(self):
        app = fliprugair.App(log=self.lines.append, **self.options)
        self.addCleanup(app.close)
        self.assertIsInstance(app.start(partner_id="1", partner_name="Example"), fliprugair.Tracker)
        with self.assertRaises(fliprugair.Error) as refused:
            app.start()
        self.assertEqual(str(refused.exception), 'a tracker needs "app_id", or "partner_id" and "partner_name", as texts')

    def test_bounds_what_waits(self):
        with self.assertRaisesRegex(fliprugair.Error, "is a whole number from 1 on"):
            fliprugair.App(most_waiting_requests=0, **self.options)
        fliprugair.App(most_waiting_requests=10, **self.options).close()

    def test_knows_no_attribution_before_a_host_has_answered(self):
        _, tracker = self.open()
        self.assertIsNone(tracker.attribution)


if __name__ == "__main__":
    unittest.main()
