-- lxk showcase: the same SQL string functions on text of many character sets.
--
-- Every call goes to the library exactly as an engine would make it: TEXT is
-- converted from UTF-8 into the session character set (lxk_charset) before
-- the call, and the result is converted back for display.  A BLOB argument
-- is raw bytes of the session set, and then the result is a BLOB too, so
-- HEX() shows exactly what the library wrote.

-- The catalogue: every set the core knows, with its class.
SELECT name, id, class, max_bytes FROM lxk_charsets;

-- ---------------------------------------------------------------------------
-- ASCII and CHR.  A character's code is the big-endian value of its bytes in
-- the session set (in UTF-16 sets, its UTF-16 value); CHR turns a code back
-- into the character.

-- UTF-8: one to four bytes per character.
SELECT lxk_charset('AL32UTF8') AS charset;
SELECT printf('%X', ASCII('A')) AS "A", printf('%X', ASCII('é')) AS "é",
       printf('%X', ASCII('€')) AS "€", printf('%X', ASCII('😀')) AS "😀",
       CHR(0xE282AC) AS "CHR(E282AC)", CHR(0xF09F9880) AS "CHR(F09F9880)";

-- A code that is not a character of the set still comes back, as bytes.
SELECT CHR(0xFF) AS "CHR(FF)", ASCII(X'E282') AS "incomplete: 0";

-- GB18030: two-byte Chinese, four-byte everything else.
SELECT lxk_charset('GB18030') AS charset;
SELECT printf('%X', ASCII('中')) AS "中", printf('%X', ASCII('€')) AS "€",
       printf('%X', ASCII('😀')) AS "😀", CHR(ASCII('😀')) AS "CHR(ASCII('😀'))",
       HEX(CONVERT('a中😀', 'GB18030')) AS "bytes of a中😀";

-- Shift_JIS: lead-byte widths; half-width katakana are single bytes.
SELECT lxk_charset('SHIFT_JIS') AS charset;
SELECT printf('%X', ASCII('あ')) AS "あ", printf('%X', ASCII('ｱ')) AS "ｱ",
       printf('%X', ASCII('漢')) AS "漢", CHR(0x82A0) AS "CHR(82A0)", CHR(0xB1) AS "CHR(B1)";

-- IBM-930: EBCDIC with shifted double-byte runs between SO (0E) and SI (0F).
-- CHR writes the shift bytes itself and always closes the run.
SELECT lxk_charset('IBM-930') AS charset;
SELECT HEX(CONVERT('ｶﾅ漢字', 'IBM-930')) AS "bytes of ｶﾅ漢字",
       printf('%X', ASCII('ｶ')) AS "ｶ", printf('%X', ASCII(X'0E45A10F')) AS "shifted run",
       HEX(CONVERT(CHR(0x45A1), 'IBM-930')) AS "CHR(45A1) bytes";

-- AL16UTF16: the code of a supplementary character is its surrogate pair.
-- CHR writes one two-byte unit here, so a pair's code gives only its low half.
SELECT lxk_charset('AL16UTF16') AS charset;
SELECT printf('%X', ASCII('A')) AS "A", printf('%X', ASCII('😀')) AS "😀",
       CHR(0x20AC) AS "CHR(20AC)", CHR(0xD83DDE00) AS "CHR(D83DDE00)",
       HEX(CONVERT('A😀', 'AL16UTF16')) AS "bytes of A😀";

-- IBM-1047: EBCDIC Latin; 'A' is C1.
SELECT lxk_charset('IBM-1047') AS charset;
SELECT printf('%X', ASCII('A')) AS "A", printf('%X', ASCII('a')) AS "a", CHR(0xC1) AS "CHR(C1)",
       HEX(CONVERT('Hello', 'IBM-1047')) AS "bytes of Hello";

-- UTFE: Unicode in an EBCDIC form.
SELECT lxk_charset('UTFE') AS charset;
SELECT printf('%X', ASCII('A')) AS "A", printf('%X', ASCII('é')) AS "é",
       CHR(ASCII('€')) AS "CHR(ASCII('€'))";

-- ---------------------------------------------------------------------------
-- CONCAT joins in the session set and cuts at the destination's capacity,
-- only ever at a whole character.
SELECT lxk_charset('AL32UTF8') AS charset;
SELECT CONCAT('Grüße', ', ', 'мир', ' ', '😀') AS joined;
SELECT lxk_capacity(6) AS capacity;
SELECT CONCAT('Grü', 'ße') AS "6 bytes", CONCAT('ab', '😀') AS "no half emoji";

-- In a shift-sensitive set a cut result still closes its shifted run: with
-- 5 bytes, 漢字 (0E 4F58 48F2 0F) loses 字 so that SI fits.
SELECT lxk_charset('IBM-930') AS charset;
SELECT HEX(CONCAT(CONVERT('漢', 'IBM-930'), CONVERT('字', 'IBM-930'))) AS "漢 + 字 in 6",
       CONCAT('漢字', 'a') AS "漢字 + a in 6";
SELECT lxk_capacity(5) AS capacity;
SELECT HEX(CONCAT(CONVERT('漢字', 'IBM-930'), CONVERT('a', 'IBM-930'))) AS "漢字 + a in 5",
       CONCAT('漢字', 'a') AS "as text";
SELECT lxk_capacity(32767) AS capacity;

-- ---------------------------------------------------------------------------
-- UPPER, LOWER and INITCAP: full case mapping where the set can hold it.
SELECT lxk_charset('AL32UTF8') AS charset;
SELECT UPPER('straße') AS upper, LOWER('ΣΟΦΌΣ') AS lower, INITCAP('the qUICK brown ǆemal') AS initcap;

-- A single-byte set maps byte for byte: ß has no one-byte capital.
SELECT lxk_charset('ISO-8859-1') AS charset;
SELECT UPPER('straße') AS upper, LOWER('ÀÉÎ') AS lower, INITCAP('élan vital') AS initcap;

SELECT lxk_charset('IBM-1047') AS charset;
SELECT UPPER('straße') AS upper, HEX(UPPER(CONVERT('abc', 'IBM-1047'))) AS "bytes of ABC";

SELECT lxk_charset('SHIFT_JIS') AS charset;
SELECT UPPER('ａｂｃ abc') AS "full-width too", LOWER('ＡＢＣ') AS lower;

-- ---------------------------------------------------------------------------
-- SUBSTR and LENGTH in every length semantics, on 'a😀e' followed by a
-- combining acute accent and 'z'.
SELECT lxk_charset('AL32UTF8') AS charset;
WITH t(s) AS (SELECT 'a😀e' || char(0x301) || 'z'),
     u(unit) AS (VALUES ('CHAR'), ('BYTE'), ('BYTE_NOFILL'), ('UCS2'), ('UCS4'), ('COMPLETE'))
SELECT unit, LENGTH(s, unit) AS length, SUBSTR(s, 2, 3, unit) AS "SUBSTR(s, 2, 3)",
       HEX(SUBSTR(CAST(s AS BLOB), 2, 3, unit)) AS bytes
  FROM t, u;

-- Byte positions that cut a character give blanks for the cut bytes.
SELECT '[' || SUBSTRB('aé', 3, 1) || ']' AS "SUBSTRB('aé', 3, 1)",
       '[' || SUBSTR('aéz', 3, 2, 'BYTE_NOFILL') || ']' AS "BYTE_NOFILL: dropped",
       SUBSTR('abcdef', -3, 2) AS "from the end", SUBSTR('abc', 0, 1) AS "position 0";

-- CESU-8 (UTF8) keeps supplementary characters as two three-byte halves.
SELECT lxk_charset('UTF8') AS charset;
SELECT LENGTHB('😀') AS bytes, LENGTH2('a😀') AS ucs2, LENGTH4('a😀') AS ucs4,
       SUBSTR4('a😀b', 2, 1) AS "SUBSTR4(2, 1)";

-- UTF-16: UCS-2 positions are pure arithmetic; half a surrogate pair is not
-- text, so it is shown as bytes.
SELECT lxk_charset('AL16UTF16') AS charset;
SELECT LENGTH2('a😀b') AS ucs2, LENGTH4('a😀b') AS ucs4, SUBSTR4('a😀b', 2, 1) AS "SUBSTR4(2, 1)",
       SUBSTR2('a😀b', 2, 1) AS "SUBSTR2(2, 1)";

-- Shift_JIS and the shifted runs of IBM-930 count characters, not bytes.
SELECT lxk_charset('SHIFT_JIS') AS charset;
SELECT LENGTH('日本語テキスト') AS chars, LENGTHB('日本語テキスト') AS bytes,
       SUBSTR('日本語テキスト', 3, 2) AS "SUBSTR(3, 2)", '[' || SUBSTRB('日本語', 2, 3) || ']' AS "SUBSTRB(2, 3)";
SELECT lxk_charset('IBM-930') AS charset;
SELECT LENGTH('ｶﾅ漢字ｶﾅ') AS chars, LENGTHB('ｶﾅ漢字ｶﾅ') AS bytes,
       SUBSTR('ｶﾅ漢字ｶﾅ', 3, 2) AS "SUBSTR(3, 2)",
       HEX(SUBSTR(CONVERT('ｶﾅ漢字ｶﾅ', 'IBM-930'), 3, 1)) AS "closed run";

SELECT lxk_charset('AL32UTF8') AS charset;

-- ---------------------------------------------------------------------------
-- INSTR: positions always from the left; a negative start searches leftward;
-- matches may overlap.  The unit variants count bytes, UCS-2 units, code
-- points or complete characters.
SELECT lxk_charset('AL32UTF8') AS charset;
SELECT INSTR('abcabc', 'bc') AS "first", INSTR('abcabc', 'bc', 1, 2) AS "second",
       INSTR('abcabc', 'bc', -1) AS "last", INSTR('aaaa', 'aa', 1, 3) AS "overlap",
       INSTR('日本語日本語', '本', -1) AS "chars", INSTRB('日本語日本語', '本', -1) AS "bytes",
       INSTR4('😀x😀x', 'x', 1, 2) AS "code points";
-- In Shift_JIS a trailing byte can look like ASCII: only character starts match.
SELECT lxk_charset('SHIFT_JIS') AS charset;
SELECT CONVERT(X'814F4F', 'AL32UTF8', 'SHIFT_JIS') AS "text of 814F4F",
       INSTRB(X'814F4F', X'4F') AS "4F at a character start",
       INSTRB(X'814F', X'4F') AS "inside one: 0";

-- REPLACE, LPAD/RPAD, TRANSLATE, TRIM.  Widths are display columns: a wide
-- character takes two, and a column a wide pad character cannot fill gets a blank.
SELECT lxk_charset('AL32UTF8') AS charset;
SELECT REPLACE('2026-11-23', '-', '/') AS "REPLACE", REPLACE('a-b-c', '-') AS "removed",
       LPAD('7', 3, '0') AS "LPAD", '[' || RPAD('日本', 7, '語') || ']' AS "RPAD to 7 columns",
       '[' || LPAD('日本語', 5) || ']' AS "cut to 5 columns",
       TRANSLATE('日本語テキスト', '日本', 'にほ') AS "TRANSLATE",
       TRANSLATE('a-b_c', '-_', '-') AS "short to-list removes",
       '[' || TRIM('  hi  ') || ']' AS "TRIM", LTRIM('xyxhi', 'xy') AS "LTRIM",
       RTRIM('hi!?!', '!?') AS "RTRIM";

-- A collation makes INSTR, REPLACE, TRANSLATE and TRIM compare linguistically:
-- CI ignores case, AI case and accents (and ß matches ss).
SELECT lxk_collation('CI') AS collation;
SELECT INSTR('Crème BRÛLÉE', 'brûlée') AS "INSTR", REPLACE('Ab ab AB', 'ab', '-') AS "REPLACE",
       TRIM('xXhiXx', 'x') AS "TRIM", INSTR('Straße', 'SS') AS "ß is not ss";
SELECT lxk_collation('AI') AS collation;
SELECT INSTR('Crème BRÛLÉE', 'brulee') AS "INSTR", INSTR('Straße', 'SS') AS "ß is ss",
       TRANSLATE('Élève', 'e', 'E') AS "TRANSLATE", LTRIM('Ééa', 'e') AS "LTRIM";
SELECT lxk_collation('BINARY') AS collation;

-- ---------------------------------------------------------------------------
-- LIKE runs in the library: '_' is one character of the set, whatever its
-- bytes; LIKEC counts complete characters, LIKE4 code points, and under a
-- CI or AI collation literal text compares linguistically.
SELECT '日本語' LIKE '日_語' AS "one _", 'a😀' LIKE 'a_' AS emoji,
       'e' || char(0x301) LIKE '_' AS "e+◌́", LIKEC('e' || char(0x301), '_') AS "LIKEC",
       '50%' LIKE '50\%' ESCAPE '\' AS escaped;
SELECT LIKE_PREFIX('abc%') AS "starts with", LIKE_PREFIX('a\%b%', '\') AS escaped,
       LIKE_PREFIX('%abc') AS "no prefix";
SELECT lxk_collation('AI') AS collation;
SELECT 'Straße' LIKE '%STRASSE' AS "ß is ss", 'Crème Brûlée' LIKE 'creme%' AS accents;
SELECT lxk_collation('BINARY') AS collation;

-- The shell's commands: .charset and .collation switch the session as the
-- functions do, .mode chooses how rows look (column, list, csv, json, box).
.charset SHIFT_JIS
.mode box
SELECT '日本語' AS text, LENGTH('日本語') AS chars, LENGTHB('日本語') AS bytes,
       HEX(CONVERT('日本語', 'SHIFT_JIS')) AS "bytes in SHIFT_JIS";
.mode json
SELECT SUBSTR('東京タワー', 3) AS tail, INSTR('東京タワー', 'ワ') AS at;
.mode column
.charset AL32UTF8

-- Regular expressions: positions in characters of the session set, empty
-- matches stepped over, subexpressions and back-references; the REGEXP
-- operator; large objects read from a BLOB column in 4 KiB pieces.
SELECT REGEXP_COUNT('表ab表b', 'x*') AS "empty matches", REGEXP_INSTR('日本語のテキスト', 'テ') AS at,
       REGEXP_SUBSTR('key=value; k2=v2', '(\w+)=(\w+)', 1, 2, NULL, 2) AS "2nd value",
       REGEXP_REPLACE('2024-01-31', '(\d+)-(\d+)-(\d+)', '\3.\2.\1') AS swapped,
       'Straße' REGEXP '^str' AS "REGEXP", REGEXP_LIKE('Straße', '^str', 'i') AS "i";
CREATE TABLE regexp_docs(body BLOB);
INSERT INTO regexp_docs(rowid, body) VALUES (1, CAST(printf('%.*c', 9000, 'a') || 'needle' AS BLOB));
SELECT lxk_charset('ISO-8859-1') AS charset;
SELECT REGEXP_INSTR_LOB('regexp_docs', 'body', 1, 'ne+dle') AS "needle at",
       REGEXP_COUNT_LOB('regexp_docs', 'body', 1, 'a{1000}') AS "runs of 1000";
SELECT lxk_charset('AL32UTF8') AS charset;

-- ASCIISTR writes every character that is not ASCII (and the backslash) as
-- \XXXX escapes of its UTF-16 units; UNISTR reads them back.  CONVTEST tells
-- what converting a string into another set would do, without converting it.
SELECT lxk_charset('AL32UTF8') AS charset;
SELECT ASCIISTR('Grüße \ 😀') AS "ASCIISTR", UNISTR('Gr\00FC\00DFe \\ \D83D\DE00') AS "UNISTR",
       UNISTR(ASCIISTR('日本語')) AS "round trip";
SELECT CONVTEST('plain', 'WINDOWS-1252') AS "ASCII", CONVTEST('café', 'WINDOWS-1252') AS "changed",
       CONVTEST('日本', 'WINDOWS-1252') AS "lossy", CONVTEST('日本', 'SHIFT_JIS') AS "into SHIFT_JIS",
       CONVTEST('Ａ', 'IBM-930') AS "with shift bytes";
