#!/usr/bin/python3
"""What scripts/mutate changes in a source, and what it leaves alone."""
import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import mutants


class Mutants(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name).resolve()

    def found(self, text, path="Fliprugair/Sample.cpp"):
        source = self.root / path
        source.parent.mkdir(exist_ok=True)
        source.write_text(text)
        return mutants.find(source, self.root, ["-std=c++20"], lambda name: name == path)

    def changes(self, body, **more):
        """What is changed in a function with that body."""
        return [one.what for one in self.found(f"void call(int = 0);\nint f(int a, int b) {{ {body} }}\n", **more)
                if one.line == 2]

    def test_comparisons_get_another_bound_or_the_opposite(self):
        self.assertEqual(self.changes("bool x = a < b; bool y = a == b; return x + y;")[:2],
                         ["a < b -> a <= b", "a == b -> a != b"])

    def test_a_conjunction_becomes_a_disjunction_and_loses_each_operand(self):
        self.assertEqual(self.changes("bool x = a && b; return x;"), ["a -> true", "a && b -> a || b", "b -> true"])
        self.assertEqual(self.changes("bool x = a || b; return x;"), ["a -> false", "a || b -> a && b", "b -> false"])

    def test_conditions_are_turned_round(self):
        self.assertIn("a -> !(a)", self.changes("if (a) return b; return a;"))
        self.assertIn("!a -> a", self.changes("if (!a) return b; else return a;"))
        self.assertIn("a -> !(a)", self.changes("return a ? a : b;"))

    def test_a_loop_is_not_entered(self):
        self.assertIn("a -> false", self.changes("while (a) --a; return a;"))

    def test_statements_are_left_out(self):
        self.assertEqual(self.changes("call(a); if (b) a = b; return a;"),
                         ["without call(a)", "b -> !(b)", "without a = b"])

    def test_numbers_are_one_higher(self):
        self.assertEqual(self.changes("return 41;"), ["41 -> 42"])
        self.assertEqual(self.changes("return 0600;"), ["0600 -> 0601"])
        self.assertEqual(self.changes("return 0x0F;"), ["0x0F -> 0x10"])

    def test_truths_are_turned_round(self):
        self.assertEqual(self.changes("bool x = true; return x;"), ["true -> false"])

    def test_texts_get_another_letter(self):
        self.assertEqual([one.what for one in self.found('const char* key = "store.key";\n')],
                         ['"store.key" -> "store.keX"'])

    def test_sentences_count_in_the_tracker_alone(self):
        sentence = 'const char* said = "for people";\n'
        self.assertEqual(len(self.found(sentence)), 1)
        (self.root / "platform").mkdir()
        self.assertEqual(self.found(sentence, path="platform/Sample.cpp"), [])

    def test_what_is_guarded_runs_unguarded(self):
        text = "template <class T> void guarded(T t) { t(); }\nvoid f() { guarded([] {}); }\n"
        self.assertEqual([one.what for one in self.found(text) if one.line == 2],
                         ["without the guarded() around its operation", "without guarded([] {})"])

    def test_constants_stay(self):
        self.assertEqual(self.found("constexpr int a = 1;\nstatic_assert(a == 1);\nenum { b = 2 };\n"
                                    "constexpr int f(int x) { return x < 3; }\n"), [])
        self.assertEqual(self.changes("while (true) { return a; }"), [])
        self.assertEqual(self.changes("switch (a) { case 1: return b; } return a;"), [])

    def test_the_source_gets_a_switch_for_each_and_keeps_its_lines(self):
        text = "int f(int a) {\n  if (a < 3)\n    a = 4;\n  return a;\n}\n"
        found = self.found(text)
        by_change = {one.what: f"::mutant::on(0x{one.number})" for one in found}
        expected = ("int f(int a) {\n"
                    f"  if (({by_change['a < 3 -> a <= 3']} ? (a <= 3) : (a < ({by_change['3 -> 4']} ? (4) : (3)))))\n"
                    f"    {{ if (!{by_change['without a = 4']}) a = ({by_change['4 -> 5']} ? (5) : (4)); }}\n"
                    "  return a;\n}\n")
        self.assertEqual(mutants.rewritten(text.encode(), found).decode(), expected)
        self.assertEqual([one.line for one in found], [2, 2, 3, 3])

    def test_a_number_stays_with_its_line(self):
        line = "bool f(int a) { return a < 3; }\n"
        before = {one.number for one in self.found(line)}
        self.assertEqual({one.number for one in self.found(f"int g;\n\n{line}")}, before)


if __name__ == "__main__":
    unittest.main()
