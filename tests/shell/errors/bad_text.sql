-- expect: bad_text.sql:2:1: UPPER: argument 1 is not well-formed UTF-8 text
SELECT UPPER(CAST(X'61FF' AS TEXT));
SELECT 'NOT REACHED';
