-- expect: syntax.sql:3:5: near "SELEC": syntax error
/* a comment
 */ SELEC 1;
SELECT 'NOT REACHED';
