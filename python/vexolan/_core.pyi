from enum import Enum
from typing import Any, Callable, List, Optional, Sequence, Tuple

from numpy.typing import NDArray

version: str
tick: float

_Report = Optional[Callable[[int], None]]
_Block = Tuple[int, int]

class Mode(Enum):
    ignore = ...
    reference = ...
    frameSync = ...

class Settings:
    size_x: int
    size_y: int
    nPhotons_min: int
    nPhotons_max: int
    mode: Mode
    time_res_s: Optional[float]
    time_max_binNumber: Optional[int]
    psd_min: Optional[float]
    psd_max: Optional[float]
    upright: bool
    region: Optional[Sequence[float]]
    timeStart: Optional[float]

class Recording:
    files: List[str]
    faults: List[Tuple[str, str]]
    n_events: int
    n_triggers: Optional[int]
    def __init__(self, paths: List[bytes], report: _Report) -> None: ...
    def count(self, settings: Settings, strict: bool, report: _Report
              ) -> Tuple[NDArray[Any], Tuple[int, int, int, int], List[Tuple[str, str]]]: ...

class Bounds:
    nPhotons_min: Optional[int]
    nPhotons_max: Optional[int]
    psd_min: Optional[float]
    psd_max: Optional[float]

def survey(folder: Optional[bytes], paths: List[bytes], bounds: Bounds, report: _Report) -> str: ...
def files_in(folder: bytes) -> List[bytes]: ...
def bins_of(settings: Settings) -> Tuple[int, int]: ...
def index_of_file(path: bytes) -> Tuple[_Block, Optional[_Block]]: ...
def save_counts(counts: NDArray[Any], path: bytes, format: str, read_files: List[bytes],
                report: _Report) -> None: ...
def write_recording(path: bytes, events: NDArray[Any], triggers: Optional[NDArray[Any]]
                    ) -> None: ...
