#!/usr/bin/env python3
"""The generator of the entity declarations: the tables under model/ hold
together, a second run rewrites nothing, and a table that contradicts itself
stops the build with a message naming the place."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
GENERATOR = ROOT / "tools/generate_model.py"
TABLES = [ROOT / "model/recovery_path.toml", ROOT / "model/records.toml"]

ENTITIES = """
[[vocabulary]]
name = "ColourEnum"
cases = ["Red", { Blue = "deep blue" }]

[[entity]]
name = "Ward"
identifier = "wardId"
doc = "A ward."
properties = [
  { name = "wardId", type = "text", required = true },
  { name = "colour", type = "ColourEnum" },
  { name = "beds", toMany = "Cot", inverse = "ward" },
]

[[entity]]
name = "Cot"
doc = "A cot."
properties = [{ name = "ward", toOne = "Ward", inverse = "beds" }]
"""

RECORDS = """
[[record]]
name = "Ledger"
header = "ledger"
createDoc = "Reads the id."
properties = [{ name = "id", kind = "integer", key = "LedgerId" }]

[record.keys]
LedgerId = "id"
"""


def run(out, entities, records):
    with tempfile.TemporaryDirectory() as tables:
        paths = [pathlib.Path(tables) / "recovery_path.toml", pathlib.Path(tables) / "records.toml"]
        paths[0].write_text(entities)
        paths[1].write_text(records)
        return subprocess.run([sys.executable, GENERATOR, out, *paths],
                              capture_output=True, text=True, check=False)


class GenerateModelTest(unittest.TestCase):
    def test_the_checked_in_tables_generate_and_a_second_run_rewrites_nothing(self):
        with tempfile.TemporaryDirectory() as out:
            first = subprocess.run([sys.executable, GENERATOR, out, *TABLES],
                                   capture_output=True, text=True, check=False)
            self.assertEqual(first.returncode, 0, first.stderr)
            files = sorted(pathlib.Path(out).rglob("*.*"))
            self.assertEqual(len([f for f in files if f.match("include/orbelin/model2/*.h")]), 22)
            stamps = {f: f.stat().st_mtime_ns for f in files}
            subprocess.run([sys.executable, GENERATOR, out, *TABLES], check=True)
            self.assertEqual({f: f.stat().st_mtime_ns for f in files}, stamps)

    def test_a_small_model_gives_its_rows_keys_and_stored_texts(self):
        with tempfile.TemporaryDirectory() as out:
            result = run(out, ENTITIES, RECORDS)
            self.assertEqual(result.returncode, 0, result.stderr)
            ward = (pathlib.Path(out) / "include/orbelin/model2/ward2.h").read_text()
            self.assertIn("ATTRIBUTE(wardId, std::string, Required)", ward)
            self.assertIn("TO_MANY(beds, Cot, ward, Unordered)", ward)
            self.assertIn("Its service identifier is `wardId`.", ward)
            vocabulary = (pathlib.Path(out) / "include/orbelin/model2/vocabulary.h").read_text()
            self.assertIn('{Blue, "deep blue"}', vocabulary)
            self.assertIn("// Stored in Ward2.colour.", vocabulary)
            ledger = (pathlib.Path(out) / "include/orbelin/records/ledger_properties.h").read_text()
            self.assertIn('static constexpr std::string_view LedgerId = "id";', ledger)
            self.assertIn("static Ledger* create(const TamberNetworking::JSON& json);", ledger)

    def test_a_table_that_contradicts_itself_is_refused_by_name(self):
        broken = {
            "Ward.beds: Cot.ward is not its inverse": ENTITIES.replace('inverse = "beds"',
                                                                       'inverse = "colour"'),
            "Ward.colour: unknown type ColourEnums": ENTITIES.replace('type = "ColourEnum"',
                                                                      'type = "ColourEnums"'),
            "ColourEnum: a case or a stored text is listed twice": ENTITIES.replace(
                '"deep blue"', '"Red"'),
            "Ward: no identifier attribute wardNumber": ENTITIES.replace(
                'identifier = "wardId"', 'identifier = "wardNumber"'),
        }
        for message, entities in broken.items():
            with self.subTest(message), tempfile.TemporaryDirectory() as out:
                result = run(out, entities, RECORDS)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(message, result.stderr)
        with tempfile.TemporaryDirectory() as out:
            result = run(out, ENTITIES, RECORDS.replace('key = "LedgerId"', 'key = "LedgerID"'))
            self.assertNotEqual(result.returncode, 0)
            self.assertIn("Ledger.id: no key LedgerID", result.stderr)


if __name__ == "__main__":
    unittest.main()
