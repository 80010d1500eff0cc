SELECT
     S.a AS a
FROM 
             (
        SELECT
             a
        ) AS S
