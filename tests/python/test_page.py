"""What docs/python.md shows runs, in one session."""

from test_guide import require_pictures, run_document


def test_the_page_makes_its_pictures(tmp_path):
    run_document("python.md", tmp_path, "--session")
    require_pictures("python", tmp_path)
