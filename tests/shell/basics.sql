-- The shell end to end: settings, ASCII/CHR across classes of sets, CONCAT,
-- case, SUBSTR/LENGTH semantics, CONVERT, and how BLOBs travel.
SELECT lxk_charset() AS charset, lxk_collation() AS collation, lxk_capacity() AS capacity;

-- UTF-8; NULL and empty operands.
SELECT ASCII('A') AS a, printf('%X', ASCII('€')) AS euro, printf('%X', ASCII('😀')) AS emoji,
       ASCII('') AS empty, ASCII(NULL) AS null_arg, CHR(0xE282AC) AS chr, CHR(NULL) AS chr_null;
-- An incomplete first character gives 0; bytes that are not text come back as a BLOB.
SELECT ASCII(X'E282') AS incomplete, CHR(0xFF) AS not_text, CHR(0xC3A9) AS e_acute;

-- Names are case-insensitive; the answer is the catalogue's name.
SELECT lxk_charset('gb18030') AS charset;
SELECT printf('%X', ASCII('中')) AS zhong, printf('%X', ASCII('😀')) AS emoji,
       CHR(0x9439FC36) AS chr4, HEX(CONVERT('a中😀', 'GB18030')) AS bytes;

SELECT lxk_charset('SHIFT_JIS') AS charset;
SELECT printf('%X', ASCII('あ')) AS a, printf('%X', ASCII('ｶ')) AS ka, CHR(0x8ABF) AS kan,
       ASCII(X'82') AS incomplete;

SELECT lxk_charset('IBM-930') AS charset;
SELECT printf('%X', ASCII('ｶ')) AS ka, printf('%X', ASCII(X'0E45A10F')) AS shifted,
       HEX(CONVERT(CHR(0x4481), 'IBM-930')) AS chr_bytes, CHR(0x4481) AS chr;

SELECT lxk_charset('AL16UTF16') AS charset;
SELECT printf('%X', ASCII('A')) AS a, printf('%X', ASCII('😀')) AS emoji, CHR(0xD83DDE00) AS chr,
       HEX(CHR(0x20AC)) AS chr_utf8_hex;

SELECT lxk_charset('IBM-1047') AS charset;
SELECT printf('%X', ASCII('A')) AS a, CHR(0xC1) AS chr, HEX(CONVERT('Hi!', 'IBM-1047')) AS bytes;

-- CONCAT: NULL is empty, more than two operands, BLOBs in give a BLOB out.
SELECT lxk_charset('AL32UTF8') AS charset;
SELECT CONCAT('ab', NULL, 'cd', 'é') AS joined, CONCAT(NULL, NULL) AS all_null,
       CONCAT(X'61', 'b') AS blob;
-- Cut at the capacity, at a whole character.
SELECT lxk_capacity(5) AS capacity;
SELECT CONCAT('abc', 'def') AS cut, CONCAT('abcd', 'éf') AS whole_char, UPPER('abcdefg') AS upper;
SELECT lxk_charset('IBM-930') AS charset;
SELECT HEX(CONCAT(CONVERT('漢', 'IBM-930'), CONVERT('字', 'IBM-930'))) AS closed_run;
SELECT lxk_capacity(32767) AS capacity, lxk_charset('AL32UTF8') AS charset;

-- Case.
SELECT UPPER('straße') AS upper, LOWER('ÀÉÎ') AS lower, INITCAP('hello wORLD') AS initcap;
SELECT lxk_charset('ISO-8859-1') AS charset;
SELECT UPPER('straße') AS upper, LOWER('ÀÉÎ') AS lower, INITCAP('élan vital') AS initcap;
SELECT lxk_charset('AL32UTF8') AS charset;

-- SUBSTR and LENGTH in each unit.
WITH t(s) AS (SELECT 'a😀e' || char(0x301) || 'z'),
     u(unit) AS (VALUES ('CHAR'), ('BYTE'), ('BYTE_NOFILL'), ('RAW'), ('UCS2'), ('UCS4'),
                        ('COMPLETE'))
SELECT unit, LENGTH(s, unit) AS length, HEX(SUBSTR(CAST(s AS BLOB), 2, 3, unit)) AS substr
  FROM t, u;
SELECT SUBSTR('hello', 2) AS tail, SUBSTR('hello', -3, 2) AS from_end,
       SUBSTR('hello', 0, 2) AS pos0, '[' || SUBSTR('hello', 2, 0) || ']' AS len0,
       SUBSTR('hello', 2.9, 1.9) AS fractions, SUBSTR(NULL, 1) AS null_arg;
SELECT '[' || SUBSTRB('日本', 2, 3) || ']' AS b, SUBSTRC('e' || char(0x301) || 'x', 1, 1) AS c,
       LENGTHB('日本') AS lb, LENGTHC('e' || char(0x301)) AS lc;
SELECT lxk_charset('AL16UTF16') AS charset;
SELECT LENGTH2('a😀b') AS ucs2, LENGTH4('a😀b') AS ucs4, SUBSTR4('a😀b', 2, 1) AS s4,
       SUBSTR2('a😀b', 2, 1) AS half_pair;

-- CONVERT: TEXT is UTF-8 unless a source set is named.
SELECT HEX(CONVERT('é', 'ISO-8859-1')) AS latin1, CONVERT(X'E9', 'AL32UTF8', 'ISO-8859-1') AS back,
       HEX(CONVERT(X'00E9', 'SHIFT_JIS')) AS from_session;

-- The catalogue.
SELECT name, id, class, max_bytes, string_functions FROM lxk_charsets
 WHERE name IN ('AL32UTF8', 'AL16UTF16LE', 'IBM-930', 'GB18030', 'IBM-1047') ORDER BY id;

-- Search and editing.
SELECT lxk_charset('AL32UTF8') AS charset;
SELECT INSTR('abcabc', 'bc', -1, 2) AS back2, INSTR('aaaa', 'aa', -1, 3) AS overlap,
       INSTR('abc', 'x') AS none, INSTRB('日本語', '語') AS b, INSTRC('e' || char(0x301) || 'x', 'x') AS c,
       INSTR4('😀x', 'x') AS cp, INSTR(NULL, 'a') AS null_arg;
SELECT REPLACE('banana', 'an', 'AN') AS r3, REPLACE('banana', 'a') AS r2,
       REPLACE('banana', NULL, 'x') AS null_search, LPAD('ab', 7, 'xyz') AS lpad,
       RPAD('ab', 5, 'xyz') AS rpad, LPAD('abcdef', 3) AS cut, '[' || RPAD('日', 3) || ']' AS wide;
SELECT TRANSLATE('abcabc', 'ab', 'x') AS tr, TRANSLATE('日本', '日', 'に') AS tr_mb,
       '[' || TRIM('  a b  ') || ']' AS trim, LTRIM('abba-x', 'ab') AS ltrim,
       RTRIM('x-abba', 'ab') AS rtrim, TRIM('xxaxx', 'x') AS trim_char;
-- AL16UTF16's blank begins with a zero byte, so TRIM needs it named.
SELECT lxk_charset('AL16UTF16') AS charset;
SELECT '[' || TRIM('  a  ') || ']' AS default_set, '[' || TRIM('  a  ', ' ') || ']' AS named,
       INSTR('日本語日本語', '本', -1) AS instr, LPAD('日', 3, 'x') AS lpad;
SELECT lxk_charset('IBM-930') AS charset;
SELECT HEX(TRIM(CONVERT('漢字 ', 'IBM-930'))) AS closed, INSTR('ｶﾅ漢字漢字', '字', -1) AS instr,
       REPLACE('漢字ｶﾅ漢', '漢', 'ｶ') AS replace, TRANSLATE('漢ｶ字', '字ｶ', 'ﾅ漢') AS translate;
SELECT lxk_charset('AL32UTF8') AS charset, lxk_collation('AI') AS collation;
SELECT INSTR('Crème BRÛLÉE', 'brulee') AS instr, REPLACE('Éé e', 'E', 'x') AS replace,
       TRIM('éÉhiE', 'e') AS trim, TRANSLATE('Ça', 'c', 'k') AS translate;
SELECT lxk_collation('BINARY') AS collation;
