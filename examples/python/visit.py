"""A host app in Python. Arguments: HOST:PORT FOLDER. bindings/python is on PYTHONPATH."""

import sys
import threading

import fliprugair

host = sys.argv[1] if len(sys.argv) > 1 else "127.0.0.1:8080"
folder = sys.argv[2] if len(sys.argv) > 2 else "."
answered = threading.Event()


def show(attribution):
    print("attribution", attribution)
    answered.set()


with fliprugair.App(
    bundle_identifier="com.example.python", version="1", store_path=f"{folder}/python.sqlite", on_attribution=show
) as app:
    tracker = app.start("demo", host=host, retrieve_attribution=True)
    app.launch()
    app.activate()
    tracker.track("level", 7)
    tracker.link_identity(user="4711")
    try:
        fliprugair.App(bundle_id="com.example.python")
    except fliprugair.Error as refused:
        print("refused:", refused)
    answered.wait(10)
    print("stored", tracker.attribution)
    waiting = app.wait_until_sent(10)
    print("waiting", waiting)
print("Fliprugair", fliprugair.version())
sys.exit(1 if waiting else 0)
