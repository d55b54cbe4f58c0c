-- expect: bad_text.sql:2: UPPER: argument 1 cannot be converted from UTF-8 into AL32UTF8
SELECT UPPER(CAST(X'61FF' AS TEXT));
SELECT 'NOT REACHED';
