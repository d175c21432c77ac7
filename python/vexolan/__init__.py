"""Images from recordings of an event-mode camera, as numpy arrays.

>>> import vexolan
>>> recording = vexolan.open("recording")
>>> image = recording.image(shape=(512, 512), photons=(6, None))
>>> image.counts                        # numpy uint32, (rows, columns)
>>> pages = recording.pages(0.0002, 50, since="trigger")
>>> pages.counts.sum(axis=(1, 2))       # counts in each time bin
>>> pages.save("sequence.tif")

Counting is that of the program vexolan: it uses all cores, other threads of Python go on meanwhile,
and Ctrl-C ends it.
"""

from ._core import version as __version__
from ._errors import RecordingError, RecordingWarning
from ._files import event_dtype, read_events, read_triggers, write_recording
from ._image import Account, Image
from ._recording import Recording, open

__all__ = ["Account", "Image", "Recording", "RecordingError", "RecordingWarning", "__version__",
           "event_dtype", "open", "read_events", "read_triggers", "write_recording"]
