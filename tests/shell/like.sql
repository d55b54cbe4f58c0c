-- LIKE through the operator, the unit variants and the pattern prefix, in
-- several sets and collations.
SELECT 'abc' LIKE 'a%' AS a, 'abc' LIKE 'A%' AS upper, 'abc' LIKE '_b_' AS under,
       '' LIKE '%' AS empty, NULL LIKE 'a' AS null_arg;
SELECT 'a%' LIKE 'a\%' ESCAPE '\' AS escaped, 'ab' LIKE 'a\%' ESCAPE '\' AS not_percent,
       'x\y' LIKE '%\\%' ESCAPE '\' AS backslash;
SELECT 'a😀' LIKE 'a_' AS emoji, 'e' || char(0x301) LIKE '_' AS decomposed,
       LIKEC('e' || char(0x301), '_') AS complete, LIKEC('é', 'e' || char(0x301)) AS composed;

SELECT lxk_charset('AL16UTF16') AS charset;
SELECT 'a😀' LIKE 'a_' AS units, LIKE4('a😀', 'a_') AS code_points, LIKE2('a😀', 'a__') AS ucs2;

SELECT lxk_charset('SHIFT_JIS') AS charset;
SELECT '日本語' LIKE '日_語' AS one_char, '日本語' LIKE '%語' AS suffix;

SELECT lxk_charset('AL32UTF8') AS charset;
SELECT lxk_collation('CI') AS collation;
SELECT 'ABC' LIKE 'a%c' AS ci, 'Crème' LIKE 'CRÈME' AS accent_kept, 'Creme' LIKE 'CRÈME' AS accent;
SELECT lxk_collation('AI') AS collation;
SELECT 'Creme' LIKE 'CRÈME' AS accent, 'Straße' LIKE '%strasse' AS sharp_s;
SELECT lxk_collation('BINARY') AS collation;

SELECT LIKE_PREFIX('abc') AS equals, LIKE_PREFIX('abc%') AS starts, LIKE_PREFIX('abc_') AS one;
SELECT LIKE_PREFIX('ab%c') AS more, LIKE_PREFIX('%abc') AS none, LIKE_PREFIX('%_%') AS only;
SELECT LIKE_PREFIX('a\%b%', '\') AS escaped, LIKE_PREFIX('日本%') AS wide;
