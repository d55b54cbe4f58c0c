#!/usr/bin/env python3
"""The SQLite extension lxk_sqlite from its two common hosts: Python's sqlite3
module (load_extension) and the sqlite3 command-line shell (.load).

    extension_test.py MODULE LXKSQL [SQLITE3]

MODULE is the built lxk_sqlite.so, LXKSQL the shell, whose functions the
extension must register alike; SQLITE3 the sqlite3 binary (its checks are
skipped without one).  Exits 77 when this Python cannot load extensions.
"""
import sqlite3
import subprocess
import sys

SQLITE_DETERMINISTIC = 0x800
SQLITE_DIRECTONLY = 0x80000
SQLITE_INNOCUOUS = 0x200000
SESSION_FUNCTIONS = {"lxk_charset", "lxk_collation", "lxk_capacity"}
# The large-object forms read a table through SQLite's blob API: direct-only too.
SESSION_FUNCTIONS |= {f"regexp_{name}_lob" for name in ("like", "count", "instr", "substr",
                                                       "replace")}


class Error:
    """An expected failure: its message contains text."""

    def __init__(self, text):
        self.text = text

    def __repr__(self):
        return f"Error({self.text!r})"


SJIS_A = "あ".encode("shift_jis")

# (session set, query, parameters, the expected row or Error)
QUERIES = [
    # TEXT in and out, in the default AL32UTF8 session.
    (None, "SELECT upper(?), lower('ÀÉ'), initcap('hello wörld')", ("straße",),
     ("STRASSE", "àé", "Hello Wörld")),
    (None, "SELECT substr('日本語', 2), substrb('日本語', 4, 3), length('日本語'), lengthb('日本語')",
     (), ("本語", "本", 3, 9)),
    (None, "SELECT length('😀', 'UCS2'), instr('abcabc', 'c', 1, 2), lpad('7', 3, '0')", (),
     (2, 6, "007")),
    (None, "SELECT replace('banana', 'an', 'AN'), translate('abc', 'ab', 'x'), trim('  a  ')", (),
     ("bANANa", "xc", "a")),
    # BLOB operands are bytes of the session set; the result is a BLOB too.
    ("SHIFT_JIS", "SELECT upper(?), length(?), substr(?, 2)",
     (SJIS_A + b"a",) * 3, (SJIS_A + b"A", 2, b"a")),
    # TEXT in a SHIFT_JIS session: converted in and back out.
    ("SHIFT_JIS", "SELECT upper('aあ'), lengthb('aあ'), hex(convert('あ', 'SHIFT_JIS'))", (),
     ("Aあ", 3, SJIS_A.hex().upper())),
    ("GB18030", "SELECT printf('%X', ascii('中')), lxk_charset()", (), ("D6D0", "GB18030")),
    # NULL operands.
    (None, "SELECT upper(?), substr(NULL, 1), concat(NULL, NULL), concat('a', NULL, 'b')",
     (None,), (None, None, None, "ab")),
    (None, "SELECT replace('abc', NULL), instr(NULL, 'a'), ascii('')", (), ("abc", None, None)),
    # Errors name the function.
    (None, "SELECT chr(-1)", (), Error("CHR: the code must lie in 0..4294967295")),
    (None, "SELECT upper('a', 'b')", (), Error("wrong number of arguments to function upper()")),
    (None, "SELECT upper(CAST(X'61FF' AS TEXT))", (),
     Error("UPPER: argument 1 is not well-formed UTF-8 text")),
    (None, "SELECT lxk_charset('KLINGON')", (), Error("lxk_charset: unknown character set")),
    (None, "SELECT substr('abc', 1, 1, 'WORDS')", (), Error("SUBSTR: unknown length unit")),
]


def connect(module):
    connection = sqlite3.connect(":memory:")
    connection.enable_load_extension(True)
    connection.load_extension(module)
    connection.enable_load_extension(False)
    return connection


def check_queries(module, failures):
    for charset, query, parameters, expected in QUERIES:
        connection = connect(module)
        try:
            if charset:
                connection.execute("SELECT lxk_charset(?)", (charset,))
            got = connection.execute(query, parameters).fetchone()
        except sqlite3.Error as error:
            got = Error(str(error))
        finally:
            connection.close()
        if isinstance(expected, Error):
            ok = isinstance(got, Error) and expected.text in got.text
        else:
            ok = got == expected
        if not ok:
            failures.append(f"{query} {parameters!r} in {charset or 'AL32UTF8'}: "
                            f"got {got!r}, expected {expected!r}")


def check_connections(module, failures):
    """Each connection has its own session; flags keep setters out of schemas."""
    first, second = connect(module), connect(module)
    first.execute("SELECT lxk_charset('SHIFT_JIS'), lxk_collation('CI')")
    sessions = [c.execute("SELECT lxk_charset(), lxk_collation()").fetchone()
                for c in (first, second)]
    if sessions != [("SHIFT_JIS", "CI"), ("AL32UTF8", "BINARY")]:
        failures.append(f"sessions are not per connection: {sessions}")
    schema = [
        ("CREATE TABLE t(x); CREATE INDEX i ON t(upper(x), substr(x, 2))", None),
        ("CREATE INDEX j ON t(lxk_charset())", "non-deterministic functions prohibited"),
        ("CREATE VIEW v AS SELECT lxk_charset(); SELECT * FROM v", "unsafe use of lxk_charset()"),
    ]
    for script, wanted in schema:
        try:
            second.executescript(script)
            got = None
        except sqlite3.Error as error:
            got = str(error)
        if (got is None) != (wanted is None) or (wanted and wanted not in got):
            failures.append(f"{script}: got {got!r}, expected {wanted!r}")
    first.close()
    second.close()


FUNCTION_LIST = ("SELECT name, narg, flags FROM pragma_function_list "
                 "WHERE builtin = 0 ORDER BY name, narg")


def check_function_list(module, lxksql, failures):
    """The extension registers what the shell has, under the same flags."""
    plain = sqlite3.connect(":memory:")
    others = {row[0] for row in plain.execute(FUNCTION_LIST)}  # FTS, R-Tree, ...
    plain.close()
    connection = connect(module)
    registered = [tuple(str(v) for v in row) for row in connection.execute(FUNCTION_LIST)]
    connection.close()
    shell = subprocess.run([lxksql, "--mode", "list", "--no-header", "-c", FUNCTION_LIST],
                           capture_output=True, text=True, check=False)
    in_shell = [tuple(line.split("|")) for line in shell.stdout.splitlines()]
    if shell.returncode != 0 or not registered or registered != in_shell:
        failures.append(f"the extension registers {len(registered)} functions, the shell "
                        f"{len(in_shell)} ({shell.stderr.strip()}); first difference: "
                        f"{next((a, b) for a, b in zip(registered + [()], in_shell + [()]) if a != b)}")
    for name, narg, flags in registered:
        if name in others:
            continue
        flags = int(flags)
        if name in SESSION_FUNCTIONS:
            ok = flags & SQLITE_DIRECTONLY and not flags & SQLITE_DETERMINISTIC
        else:
            ok = flags & SQLITE_DETERMINISTIC and flags & SQLITE_INNOCUOUS
        if not ok:
            failures.append(f"{name}/{narg}: flags {flags:#x}")


# (SQL run after .load, one argument each, expected standard output or Error)
CLI_RUNS = [
    (["SELECT upper('straße'), length('日本語'), hex(upper(X'61'))"], "STRASSE|3|41\n"),
    (["SELECT lxk_charset('SHIFT_JIS')", "SELECT hex(upper(convert('aあ', 'SHIFT_JIS')))",
      "SELECT length(convert('aあ', 'SHIFT_JIS')), quote(upper(NULL))"],
     "SHIFT_JIS\n41" + SJIS_A.hex().upper() + "\n2|NULL\n"),
    (["SELECT chr(-1)"], Error("CHR: the code must lie in 0..4294967295")),
]


def check_cli(module, sqlite3_binary, failures):
    # The module is named without its suffix, as users write it.
    load = ".load " + module.removesuffix(".so")
    for statements, expected in CLI_RUNS:
        run = subprocess.run([sqlite3_binary, "-bail", ":memory:", load, *statements],
                             capture_output=True, text=True, check=False)
        if isinstance(expected, Error):
            ok = run.returncode != 0 and expected.text in run.stderr
        else:
            ok = run.returncode == 0 and run.stdout == expected and not run.stderr
        if not ok:
            failures.append(f"sqlite3 {statements}: status {run.returncode}, "
                            f"out {run.stdout!r}, err {run.stderr!r}, expected {expected!r}")


def main():
    module, lxksql = sys.argv[1], sys.argv[2]
    sqlite3_binary = sys.argv[3] if len(sys.argv) > 3 else ""
    if not hasattr(sqlite3.Connection, "enable_load_extension"):
        print(f"{sys.executable}: its sqlite3 module cannot load extensions")
        return 77
    failures = []
    check_queries(module, failures)
    check_connections(module, failures)
    check_function_list(module, lxksql, failures)
    if sqlite3_binary:
        check_cli(module, sqlite3_binary, failures)
    else:
        print("no sqlite3 binary: its checks are skipped")
    for failure in failures:
        print("FAIL:", failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
