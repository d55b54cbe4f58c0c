-- REGEXP_LIKE, REGEXP_COUNT, REGEXP_INSTR, REGEXP_SUBSTR, REGEXP_REPLACE and the
-- REGEXP operator under the session set and collation, and the large-object
-- forms over BLOB columns.
SELECT REGEXP_LIKE('Hello World', 'world') AS cs, REGEXP_LIKE('Hello World', 'world', 'i') AS ci,
       'abc' REGEXP '^a.c$' AS op, REGEXP_LIKE(NULL, 'a') AS null_src;

-- Positions count characters; empty matches are counted and stepped over.
SELECT REGEXP_COUNT('banana', 'an') AS an, REGEXP_COUNT('banana', 'an', 3) AS from3,
       REGEXP_COUNT('表ab表b', 'x*') AS empties, REGEXP_COUNT('aaaa', 'aa') AS non_overlapping;
SELECT REGEXP_INSTR('日本語のテキスト', 'テ') AS te, REGEXP_INSTR('banana', 'an', 1, 2) AS second,
       REGEXP_INSTR('banana', 'an', 1, 2, 1) AS after_second,
       REGEXP_INSTR('key=value', '(\w+)=(\w+)', 1, 1, 0, NULL, 2) AS sub2;
SELECT REGEXP_SUBSTR('key=value; k2=v2', '(\w+)=(\w+)', 1, 2, NULL, 1) AS k,
       REGEXP_SUBSTR('abc', 'x') AS none, REGEXP_SUBSTR('a
b', 'a.b', 1, 1, 'n') AS dot_newline;
SELECT REGEXP_REPLACE('2024-01-31', '(\d+)-(\d+)-(\d+)', '\3.\2.\1') AS date,
       REGEXP_REPLACE('a b  c', ' +', '_') AS all_spaces,
       REGEXP_REPLACE('a b  c', ' +', '_', 1, 2) AS second_only,
       REGEXP_REPLACE('aaa', 'a') AS removed;
-- Bracket classes, Perl classes, non-greedy quantifiers, back-references, x.
SELECT REGEXP_SUBSTR('Grüße 42', '[[:alpha:]]+') AS alpha, REGEXP_SUBSTR('x 12 y', '\d+') AS digits,
       REGEXP_SUBSTR('<a><b>', '<.+?>') AS lazy, REGEXP_COUNT('abab cdcd xyxz', '(..)\1') AS pairs,
       REGEXP_LIKE('abc', 'a b c', 'x') AS extended;

-- The session's collation: CI folds case, AI also drops accents.
SELECT lxk_collation('CI') AS collation;
SELECT REGEXP_COUNT('Straße STRASSE straße', 'straße') AS ci, REGEXP_LIKE('A', 'a', 'c') AS c_wins;
SELECT lxk_collation('AI') AS collation;
SELECT REGEXP_COUNT('résumé RESUME resume', 'resume') AS ai;
SELECT lxk_collation('BINARY') AS collation;

-- Other sets: positions and copied text in the set's own characters.
SELECT lxk_charset('IBM-930') AS charset;
SELECT REGEXP_COUNT('表ab表b', 'x*') AS empties, REGEXP_INSTR('表ab表b', '表b') AS at,
       REGEXP_SUBSTR('表ab表b', '表b') AS sub, REGEXP_REPLACE('表ab表b', 'b', '表') AS rep;
SELECT lxk_charset('AL16UTF16') AS charset;
SELECT REGEXP_INSTR('aж😀b', 'b') AS b_at, REGEXP_SUBSTR('aж😀b', '.b') AS two;

-- A compiled expression serves every row of a statement.
SELECT lxk_charset('AL32UTF8') AS charset;
WITH words(w) AS (VALUES ('apple'), ('Banana'), ('cherry'), ('avocado'))
SELECT w, REGEXP_LIKE(w, '^a', 'i') AS a_word, REGEXP_COUNT(w, '[aeiou]') AS vowels FROM words;

-- Large objects: BLOB columns read through SQLite's blob API, 4 KiB at a time.
SELECT lxk_charset('ISO-8859-1') AS charset;
CREATE TABLE docs(id INTEGER PRIMARY KEY, body BLOB);
INSERT INTO docs VALUES (1, CAST(printf('%.*c', 10000, 'a') || 'needle' || printf('%.*c', 5000, 'b') AS BLOB));
SELECT REGEXP_LIKE_LOB('docs', 'body', 1, 'needle') AS found,
       REGEXP_INSTR_LOB('docs', 'body', 1, 'ne+dle') AS at,
       REGEXP_COUNT_LOB('docs', 'body', 1, 'b{1000}') AS thousands,
       REGEXP_SUBSTR_LOB('docs', 'body', 1, 'a(n.{4})', 1, 1, NULL, 1) AS sub,
       length(REGEXP_REPLACE_LOB('docs', 'body', 1, 'a+|b+', '-')) AS replaced_length,
       REGEXP_REPLACE_LOB('docs', 'body', 1, 'a+|b+', '-') AS replaced;
