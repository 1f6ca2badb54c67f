"""The module for Python: what waits, ends and is erased, and what is refused. That events reach a host through it,
examples/python shows. FLIPRUGAIR_LIBRARY or the system's path of libraries finds the library."""

import pathlib
import tempfile
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
        app = fliprugair.App(log=self.lines.append, **self.options)
        self.addCleanup(app.close)
        return app, app.start("demo", host="127.0.0.1:1")

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
        calls += [lambda: tracker.attribution, tracker.limit_ad_tracking, lambda: tracker.link_identity(user="1")]
        for call in calls:
            with self.assertRaisesRegex(fliprugair.Error, "the app is closed"):
                call()

    def test_names_an_option_that_there_is_not(self):
        with self.assertRaisesRegex(fliprugair.Error, 'option "storePaht" is not known'):
            fliprugair.App(store_paht="x")
        with self.assertRaisesRegex(fliprugair.Error, 'option "storePaht" is not known'):
            fliprugair.erase(store_paht="x")
        app, _ = self.open()
        app.start("demo", hots="127.0.0.1:1")
        self.assertEqual([line for line in self.lines if 'there is no option "hots"' in line], self.lines[-1:])

    def test_takes_facts_in_its_own_spelling(self):
        with self.assertRaisesRegex(fliprugair.Error, 'option "systemVersion" is a text'):
            fliprugair.App(facts={"system_version": 12}, **self.options)
        fliprugair.App(facts={"system_version": "12"}, **self.options).close()

    def test_refuses_text_that_c_would_cut_off(self):
        app, tracker = self.open()
        calls = [lambda: tracker.track("a\0b"), lambda: tracker.track("a", "b\0"), lambda: tracker.deep_link("\0", "a")]
        calls += [lambda: tracker.track("a", receipt="\0"), lambda: tracker.track_at("\0", 1, 2, 3)]
        for call in calls:
            with self.assertRaisesRegex(fliprugair.Error, "null character"):
                call()
        self.assertEqual(app.waiting.records, 0)

    def test_bounds_what_waits(self):
        with self.assertRaisesRegex(fliprugair.Error, "is a whole number from 1 on"):
            fliprugair.App(most_waiting_requests=0, **self.options)
        fliprugair.App(most_waiting_requests=10, **self.options).close()

    def test_knows_no_attribution_before_a_host_has_answered(self):
        _, tracker = self.open()
        self.assertIsNone(tracker.attribution)


if __name__ == "__main__":
    unittest.main()
