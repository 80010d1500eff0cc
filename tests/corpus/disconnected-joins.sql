SELECT
     A.x AS x
FROM
     C 
     RIGHT OUTER JOIN D
     ON (C.y = D.y)
     CROSS JOIN E
