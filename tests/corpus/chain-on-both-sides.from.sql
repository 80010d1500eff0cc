FROM
     dbo.C AS C 
     FULL OUTER JOIN dbo.A AS A 
     INNER JOIN dbo.B AS B
     ON (A.x = B.x)
     ON (C.z = B.z) 
     RIGHT OUTER JOIN dbo.C AS C 
     FULL OUTER JOIN dbo.A AS A 
     INNER JOIN dbo.B AS B
     ON (A.x = B.x)
     ON (C.z = B.z)
     ON (A.w = C.w)